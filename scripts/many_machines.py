#!/usr/bin/python3
"""Runs the recipes of docs/recipes as they are for several machines: GNU parallel here, GNU parallel over ssh to two hosts
on loopback, and a Slurm array. Each finishes a list with equal names in several folders and one broken scan, is killed
in the middle and run again: every other scan must be finished once, the broken one be reported, and the states and
lines of all tasks come together in one overview.

  python3 scripts/many_machines.py [--zep3 PROGRAM] [--keep]

Needs root for the daemons of Slurm. Sets up its own keys, ports and configuration in a folder of its own."""

import argparse
import contextlib
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECIPES = ROOT / "docs" / "recipes"
PACKAGES = "parallel openssh-server openssh-client slurmctld slurmd slurm-client munge".split()
SCANS, TASK = 80, 10
BROKEN = "box 3/003.jpg"
OPTIONS = ["-k", "faded-slide"]


def make_scans(work):
    """Folders with equal names, a blank in a name, and one scan cut in the middle."""
    names = []
    source = (ROOT / "samples" / "slide-faded.jpg").read_bytes()
    for box in range(8):
        (work / f"box {box}").mkdir(parents=True)
        for number in range(SCANS // 8):
            name = f"box {box}/{number:03d}.jpg"
            (work / name).write_bytes(source[: len(source) // 2] if name == BROKEN else source)
            names.append(name)
    (work / "list.txt").write_text("".join(name + "\n" for name in names))
    return names


def free_port():
    with contextlib.closing(socket.socket()) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(what, done, seconds=30):
    end = time.monotonic() + seconds
    while not done():
        if time.monotonic() > end:
            sys.exit(f"{what}: not there after {seconds} s")
        time.sleep(0.1)


@contextlib.contextmanager
def running(*commands, **options):
    """Daemons, ended with their children when the block ends."""
    started = []
    try:
        for command in commands:
            started.append(subprocess.Popen(command, start_new_session=True, **options))
        yield started
    finally:
        for daemon in reversed(started):
            with contextlib.suppress(ProcessLookupError):
                os.killpg(daemon.pid, signal.SIGTERM)
            try:
                daemon.wait(5)
            except subprocess.TimeoutExpired:
                os.killpg(daemon.pid, signal.SIGKILL)
                daemon.wait()


@contextlib.contextmanager
def two_ssh_hosts(folder):
    """Two servers of ssh on loopback with keys of their own; yields the environment by which parallel reaches them."""
    key = folder / "key"
    for name in ("key", "host_key"):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / name], check=True)
    (folder / "authorized").write_bytes((folder / "key.pub").read_bytes())
    os.makedirs("/run/sshd", mode=0o755, exist_ok=True)
    servers, config = [], []
    for host in ("anna", "bert"):
        port = free_port()
        path = folder / f"sshd_{host}"
        path.write_text(f"Port {port}\nListenAddress 127.0.0.1\nHostKey {folder}/host_key\nUsePAM no\nStrictModes no\n"
                        f"AuthorizedKeysFile {folder}/authorized\nPidFile {folder}/{host}.pid\n"
                        "MaxStartups 50\nMaxSessions 50\n")
        # -r: a server that starts itself anew for each connection is refused in some sandboxes.
        servers.append(["/usr/sbin/sshd", "-D", "-r", "-f", str(path)])
        config.append(f"Host {host}\n HostName 127.0.0.1\n Port {port}\n IdentityFile {key}\n IdentitiesOnly yes\n"
                      " StrictHostKeyChecking no\n UserKnownHostsFile /dev/null\n LogLevel ERROR\n BatchMode yes\n")
    (folder / "config").write_text("".join(config))
    with running(*servers, stderr=subprocess.DEVNULL):
        for host in ("anna", "bert"):
            wait_for(f"ssh to {host}", lambda h=host: subprocess.run(
                ["ssh", "-F", folder / "config", h, "true"], stderr=subprocess.DEVNULL).returncode == 0)
        yield {"HOSTS": "anna,bert", "PARALLEL_SSH": f"ssh -F {folder}/config"}


@contextlib.contextmanager
def slurm(folder):
    """munge, slurmctld and slurmd on loopback; yields the environment of sbatch."""
    host = socket.gethostname().split(".")[0]
    folder.chmod(0o755)
    key = folder / "munge.key"
    key.write_bytes(os.urandom(128))
    key.chmod(0o400)
    for name in ("state", "spool"):
        (folder / name).mkdir()
    conf = folder / "slurm.conf"
    conf.write_text(f"""ClusterName=loopback
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={free_port()}
SlurmdPort={free_port()}
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CryptoType=crypto/munge
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerParameters=defer,sched_interval=1
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
ReturnToService=2
MpiDefault=none
NodeName={host} NodeAddr=127.0.0.1 CPUs={os.cpu_count()} State=UNKNOWN
PartitionName=all Nodes={host} Default=YES MaxTime=INFINITE State=UP
""")
    env = {"SLURM_CONF": str(conf)}
    munged = ["munged", "--foreground", "--force", f"--key-file={key}", f"--socket={folder}/munge.socket",
              f"--pid-file={folder}/munged.pid", f"--log-file={folder}/munged.log", f"--seed-file={folder}/munged.seed"]
    with running(munged, stderr=subprocess.DEVNULL):
        wait_for("munge", (folder / "munge.socket").exists)
        with running(["slurmctld", "-D"], ["slurmd", "-D"], env=os.environ | env, stdout=subprocess.DEVNULL,
                     stderr=open(folder / "slurm.log", "wb")):
            def idle():
                return b"idle" in subprocess.run(["sinfo", "-h", "-o", "%T"], env=os.environ | env, capture_output=True).stdout
            wait_for("a node of Slurm", idle, 60)
            yield env


class Archive:
    """A folder of scans, finished by a recipe; counts what every task said of every scan."""

    def __init__(self, folder, zep3):
        self.work = folder / "archive"
        self.names = make_scans(self.work)
        self.zep3 = zep3
        self.out = self.work / "finished"

    def results(self):
        return {str(p.relative_to(self.out)): p.stat().st_mtime_ns
                for p in self.out.rglob("*.jpg") if p.parts[len(self.out.parts)].startswith("box ")}

    def start(self, command, env):
        return subprocess.Popen(command, cwd=self.work, start_new_session=True,
                                env=os.environ | {"ZEP3": self.zep3, "TASK": str(TASK)} | env)

    def check(self, what, recipe, env, cancel):
        """Kills the recipe when a part is done, runs it to its end, then a third time."""
        first = self.start(recipe, env)
        wait_for(f"{what}: first results", lambda: len(self.results()) >= SCANS // 8, 60)
        cancel(first)
        begun = self.results()
        status = self.start(recipe, env).wait(timeout=300)
        done = self.results()
        expected = {name for name in self.names if name != BROKEN}
        assert set(done) == expected, (what, sorted(expected ^ set(done)))
        assert all(done[name] == time_ns for name, time_ns in begun.items()), f"{what}: results were made twice"
        assert status != 0, f"{what}: the broken scan was not told"
        assert self.start(recipe, env).wait(timeout=300) != 0
        assert self.results() == done, f"{what}: the third run made results again"
        self.check_overview(what)
        print(f"{what}: killed after {len(begun)} of {len(expected)} results, finished, {BROKEN} reported; "
              "run again: nothing was done twice")

    def check_overview(self, what):
        subprocess.run([self.zep3, "overview", self.out], cwd=self.work, check=True)
        with open(self.out / "zep3-report" / "run.csv", newline="", encoding="utf-8") as file:
            import csv
            rows = list(csv.DictReader(file))
        status = {row["scan"]: row["status"] for row in rows}
        failed = [name for name, word in status.items() if word == "failed"]
        assert len(status) == SCANS and failed == [BROKEN], (what, len(status), failed)


def kill_parallel(process):
    os.killpg(process.pid, signal.SIGTERM) # parallel ends its tasks, also those of other hosts
    time.sleep(0.2)
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGTERM)
    process.wait(timeout=60)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--zep3", default=str(ROOT / "build" / "release" / "zep3"))
    parser.add_argument("--keep", action="store_true", help="leave the folder with all logs")
    options = parser.parse_args()
    subprocess.run(["sh", ROOT / "scripts" / "setup.sh", *PACKAGES], check=True, stdout=subprocess.DEVNULL)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="zep3-machines-"))
    zep3 = str(pathlib.Path(options.zep3).resolve())
    try:
        here, hosts, array = (folder / name for name in ("here", "hosts", "array"))
        for place in (here, hosts, array):
            place.mkdir()
        parallel = ["sh", RECIPES / "parallel.sh", "list.txt", "finished", *OPTIONS]
        Archive(here, zep3).check("GNU parallel, this machine", parallel, {}, kill_parallel)
        with two_ssh_hosts(hosts) as env:
            Archive(hosts, zep3).check("GNU parallel, two hosts by ssh", parallel, env, kill_parallel)
            used = {line.split("\t")[1] for line in (hosts / "archive/finished/tasks/log").read_text().splitlines()[1:]}
            assert used == {"anna", "bert"}, used
        with slurm(array) as env:
            def scancel(process):
                subprocess.run(["scancel", "--name", "slurm.sh"], env=os.environ | env, check=True)
                process.wait(timeout=60)
            sbatch = ["sbatch", "--quiet", "--wait", f"--array=0-{SCANS // TASK - 1}",
                      RECIPES / "slurm.sh", "list.txt", "finished", *OPTIONS]
            Archive(array, zep3).check("Slurm array", sbatch, env, scancel)
    finally:
        if options.keep:
            print(folder)
        else:
            shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
