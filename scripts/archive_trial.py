#!/usr/bin/python3
"""Makes a mixed archive from samples/ and takes it through an archive's week: a run that is killed in the middle and
resumed, other settings, a report asked for later, the overview in a browser, a list marked there and run again, and
results in place that are taken back.

  /usr/bin/python3 scripts/archive_trial.py [--files N] [--zep3 PROGRAM] [--browser] [--keep FOLDER]

Every step says what it took and fails where a promise is broken. --browser opens the overview in headless Chromium
(python3-selenium, chromium-driver), marks scans there, takes the list that the page makes, and leaves pictures of the
page in the folder."""

import argparse
import csv
import hashlib
import json
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
KINDS = {
    "slide-faded": "faded-slide",
    "print-faded": "faded-print",
    "negative-colour": "negative",
    "negative-bw": "bw-negative",
    "plate": "photo",
    "breviary": "background",
    "strip": "negative",
}
# Suffix of the result, and how `vips` writes the master: every format that is opened without being asked.
FORMATS = [".jpg", ".png", ".webp", ".ppm", ".tif[compression=lzw]", ".tif[compression=deflate,tile]", ".tif[bigtiff]"]
BROKEN = {
    "cut.jpg": lambda data: data[: len(data) // 2],
    "cut.tif": lambda data: data[: len(data) // 2],
    "empty.png": lambda data: b"",
    "text.jpg": lambda data: b"this is no picture\n" * 50,
}
ODD_NAMES = ["a <b> & 'c' \"d\".jpg", "=1+1.jpg", "new\nline.jpg", "grün ß 漢字.jpg", "-k.jpg", " lead and trail .jpg"]


class Browser:
    """Chromium without a window."""

    def __init__(self, downloads):
        from selenium import webdriver # only where it is asked for
        from selenium.webdriver.chrome.service import Service

        self.downloads = downloads
        downloads.mkdir()
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for word in ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--hide-scrollbars"]:
            options.add_argument(word)
        options.add_experimental_option("prefs", {"download.default_directory": str(downloads)})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.driver.quit()

    def open(self, path, width):
        # The window itself does not become narrower than 500 pixels on all systems.
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self.driver.get(path.as_uri())

    def find(self, selector):
        return self.driver.find_elements("css selector", selector)

    def count(self, selector):
        return len(self.find(selector))

    def text(self, selector):
        return self.find(selector)[0].text

    def keys(self, name):
        from selenium.webdriver.common.action_chains import ActionChains
        from selenium.webdriver.common.keys import Keys

        ActionChains(self.driver).send_keys(getattr(Keys, name.upper(), name)).perform()

    def type(self, selector, text):
        self.find(selector)[0].send_keys(text)

    def choose(self, label, value):
        from selenium.webdriver.support.ui import Select

        Select(self.find(f"select[aria-label={label}]")[0]).select_by_value(value)

    def click(self, begin):
        next(button for button in self.find("button") if button.text.startswith(begin)).click()

    def mark(self, name, by_key):
        """By the card's button, or as with the pointer and the key."""
        shown = " ".join(name.split())
        card = next(card for card in self.find(".card") if card.find_element("css selector", "h3").text == shown)
        button = card.find_element("css selector", "button")
        if by_key:
            card.find_element("css selector", "h3").click()
            self.keys("m")
        else:
            button.click()
        assert button.text == "Marked", (name, button.text)

    def downloaded(self, name):
        for _ in range(100):
            if (self.downloads / name).exists():
                return self.downloads / name
            time.sleep(0.1)
        raise AssertionError(f"{name} was not downloaded")

    def fits(self):
        return self.driver.execute_script("return document.documentElement.scrollWidth <= innerWidth")

    def dark(self):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": "dark"}]})

    def without_scripts(self):
        self.driver.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})

    def picture(self, path):
        time.sleep(0.5) # pictures of the page are loaded as they come into view
        self.driver.save_screenshot(str(path))

    def complaints(self):
        return [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] != "INFO"]


class Trial:
    def __init__(self, folder, zep3, files):
        self.folder, self.zep3, self.files = folder, zep3, files
        self.scans, self.out = folder / "scans", folder / "finished"
        self.broken = set()
        self.rows = []

    def run(self, what, *words, status=0, cwd=None):
        """Runs zep3 to its end; its JSON lines, by scan."""
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.monotonic()
        done = subprocess.run([self.zep3, *map(str, words), "--json", "-q"], cwd=cwd or self.folder, capture_output=True)
        wall = time.monotonic() - start
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        assert done.returncode == status, (what, done.returncode, done.stderr[-2000:].decode(errors="replace"))
        lines = [json.loads(line) for line in done.stdout.decode().splitlines()]
        states = {}
        for line in lines:
            states[line["status"]] = states.get(line["status"], 0) + 1
        print(f"{what}: {wall:.1f} s, {cpu:.1f} s of CPU; " + ", ".join(f"{n} {s}" for s, n in sorted(states.items())))
        return {line["scan"]: line for line in lines}

    def make(self):
        masters = self.folder / "masters"
        masters.mkdir()
        made = {}
        for name in KINDS:
            for i, form in enumerate(FORMATS):
                path = masters / f"{name}-{i}{form}"
                subprocess.run(["vips", "thumbnail", ROOT / "samples" / f"{name}.jpg", str(path), "360"], check=True)
                made[name, i] = pathlib.Path(str(path).split("[", maxsplit=1)[0])
        number = 0
        while number < self.files:
            for name, kind in KINDS.items():
                box = self.scans / kind / f"box {number // 200}" / name
                if not box.exists():
                    box.mkdir(parents=True)
                    (self.scans / kind / "zep3.toml").write_text(f'kind = "{kind}"\n')
                for i, form in enumerate(FORMATS):
                    if number >= self.files:
                        break
                    # The same few names in every folder.
                    shutil.copyfile(made[name, i], box / f"{number % 50:03d}-{i}{made[name, i].suffix}")
                    number += 1
        odd = self.scans / "faded-slide" / "odd names"
        odd.mkdir()
        for name in ODD_NAMES:
            shutil.copyfile(made["slide-faded", 0], odd / name)
        broken = self.scans / "photo" / "broken"
        broken.mkdir()
        for name, cut in BROKEN.items():
            (broken / name).write_bytes(cut(made["plate", 4 if name.endswith("tif") else 0].read_bytes()))
            self.broken.add(str((broken / name).relative_to(self.folder)))
        shutil.rmtree(masters)

    def results(self):
        """Name, time and digest of every picture among the results."""
        skipped = {".zep3-run", "zep3-report"}
        return {
            str(path.relative_to(self.out)): (path.stat().st_mtime_ns, hashlib.sha256(path.read_bytes()).hexdigest())
            for path in self.out.rglob("*")
            if path.is_file() and not skipped & set(path.parts) and not path.name.startswith(".zep3")
        }

    def killed(self):
        """SIGKILL in the middle of the first run; what is there then."""
        started = subprocess.Popen([self.zep3, "-r", "scans", "-o", "finished", "-q"], cwd=self.folder,
                                   stderr=subprocess.DEVNULL)
        while started.poll() is None and len(list(self.out.rglob("*.*"))) < self.files // 3:
            time.sleep(0.02)
        assert started.poll() is None, "the run ended before it was killed"
        started.kill()
        started.wait()
        time.sleep(3.5) # workers whose parent is killed are gone by then
        begun = self.results()
        print(f"killed: {len(begun)} results of {self.files}")
        return begun

    def week(self):
        begun = self.killed()
        lines = self.run("resumed", "-r", "scans", "-o", "finished", status=1)
        done = self.results()
        failed = {scan for scan, line in lines.items() if line["status"] == "failed"}
        assert failed == self.broken, failed ^ self.broken
        assert len(done) == len(lines) - len(failed), (len(done), len(lines))
        changed = [name for name, state in begun.items() if done[name] != state]
        assert not changed, changed
        again = self.run("run again, nothing to do", "-r", "scans", "-o", "finished", status=1)
        assert self.results() == done
        # Named, but not yet written down when the run was killed: at most one a worker.
        unknown = {scan for scan, line in again.items() if line.get("made") == "elsewhere"}
        assert len(unknown) <= os.cpu_count(), unknown
        assert all(line["pages"] for scan, line in again.items() if scan not in failed | unknown)

        other = self.run("with other settings, without --update", "-r", "scans", "-o", "finished", "--contrast", "10", status=1)
        assert self.results() == done
        assert "other settings" in next(line["message"] for line in other.values() if line["status"] == "skipped")
        self.run("with other settings and --update", "-r", "scans", "-o", "finished", "--contrast", "10", "--update", status=1)
        updated = self.results()
        stayed = {name for name, state in done.items() if updated[name] == state}
        assert updated.keys() == done.keys() and len(stayed) <= len(unknown), stayed

        known = self.folder / "known-bad.txt"
        known.write_text("".join(name + "\n" for name in sorted(self.broken)))
        self.run("report and overview asked for later", "-r", "scans", "-o", "finished", "--contrast", "10", "--report",
                 "--known-bad", known)
        assert self.results() == updated
        with open(self.out / "zep3-report" / "run.csv", newline="", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        assert {row["scan"] for row in rows} == lines.keys(), (len(rows), len(lines), unknown)

    def browsed(self, names):
        """The overview in a browser: as people read, sort, look and mark. The list that it gives, a file."""
        start = time.monotonic()
        with Browser(self.folder / "downloads") as page:
            page.open(self.out / "zep3-report" / "index.html", 1280)
            assert page.count(".card") == min(200, self.files + len(ODD_NAMES) + len(BROKEN)), page.count(".card")
            page.picture(self.folder / "overview-1280.png")
            page.choose("Verdict", "failed")
            assert page.count(".card") == len(self.broken), page.count(".card")
            page.choose("Verdict", "*")
            page.type("input[type=search]", "odd names")
            assert page.count(".card") == len(ODD_NAMES), page.count(".card")
            for i, name in enumerate(names):
                page.mark(pathlib.Path(name).name, by_key=i == 0)
            page.keys("f")
            assert page.count(".large:not([hidden]) iframe, .large:not([hidden]) img") == 1
            page.picture(self.folder / "full-size.png")
            page.keys("Escape")
            page.click("Download list")
            marked = page.downloaded("marked.txt")
            # Marks stay.
            page.open(self.out / "zep3-report" / "index.html", 500)
            assert f"({len(names)})" in page.text(".tools"), page.text(".tools")
            assert page.fits(), "wider than the window"
            page.picture(self.folder / "overview-500.png")
            page.dark()
            page.picture(self.folder / "overview-500-dark.png")
            page.open(self.out / "zep3-report" / "index.html", 1280)
            page.picture(self.folder / "overview-1280-dark.png")
            report = next((self.out / "zep3-report" / "scans").rglob("*.html"))
            page.open(report, 500)
            assert page.fits(), f"{report} is wider than the window"
            page.picture(self.folder / "report-500-dark.png")
            page.without_scripts()
            page.open(self.out / "zep3-report" / "index.html", 1280)
            assert page.count(".card") > 0 and page.count("nav.pages a") > 0 or self.files < 190
            page.picture(self.folder / "overview-plain.png")
            assert not page.complaints(), page.complaints()
        print(f"overview in a browser: {time.monotonic() - start:.1f} s")
        return marked

    def marked(self, names, listed=None):
        """A list from the page, run again with another correction."""
        if listed is None:
            listed = self.folder / "marked.txt"
            listed.write_bytes(b"".join(name.encode() + b"\0" for name in names))
        assert sorted(listed.read_bytes().split(b"\0")[:-1]) == sorted(name.encode() for name in names), listed.read_bytes()
        before = self.results()
        self.run("the list from the page", "-0", "--files-from", listed, "--root", "scans", "-o", "finished",
                 "--contrast", "-10", "--update")
        after = self.results()
        changed = {name for name, state in after.items() if before[name] != state}
        assert changed == {str(pathlib.Path(name).relative_to("scans")) for name in names}, (changed, names)

    def in_place(self):
        copy = self.folder / "in place"
        shutil.copytree(self.scans, copy)
        def state():
            return {str(p.relative_to(copy)): hashlib.sha256(p.read_bytes()).hexdigest()
                    for p in copy.rglob("*") if p.is_file() and ".zep3-run" not in p.parts}
        before = state()
        self.run("in place", "-r", "in place", "--in-place", status=1)
        assert sum("_original." in name for name in state()) == len(before) - len(self.broken) - self.configs()
        self.run("restored", "-r", "in place", "--in-place", "--restore")
        assert state() == before, set(state().items()) ^ set(before.items())

    def configs(self):
        return sum(1 for _ in self.scans.rglob("zep3.toml"))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--files", type=int, default=3000)
    parser.add_argument("--zep3", default=str(ROOT / "build" / "release" / "zep3"))
    parser.add_argument("--browser", action="store_true", help="the overview in Chromium, with pictures of it")
    parser.add_argument("--keep", help="make all in this new folder, and leave it")
    options = parser.parse_args()
    if options.browser: # of Debian's Python, by which this is to be run
        subprocess.run(["sh", ROOT / "scripts" / "setup.sh", "python3-selenium", "chromium", "chromium-driver"], check=True)
    folder = pathlib.Path(options.keep or tempfile.mkdtemp(prefix="zep3-archive-"))
    folder.mkdir(exist_ok=True)
    trial = Trial(folder, str(pathlib.Path(options.zep3).resolve()), options.files)
    try:
        trial.make()
        trial.week()
        # With names that spreadsheets, programs and lists by lines stumble over.
        marked = [f"scans/faded-slide/odd names/{name}" for name in ["=1+1.jpg", "-k.jpg", "new\nline.jpg"]]
        trial.marked(marked, trial.browsed(marked) if options.browser else None)
        trial.in_place()
    finally:
        if not options.keep:
            shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
