"""Arrays come out as the program's files do, to the last bit."""

import json
import os
import subprocess

import numpy as np
import pytest
from conftest import sample
from PIL import Image, ImageCms

import zep3

PROGRAM = os.environ["ZEP3_PROGRAM"]


def zep3_program(*words):
    return subprocess.run([PROGRAM, "--no-sync", *map(str, words)], check=True, capture_output=True, text=True)


def write_pnm(path, scan):
    deep = scan.dtype == np.uint16
    head = "P%d %d %d %d\n" % (6 if scan.ndim == 3 else 5, scan.shape[1], scan.shape[0], 65535 if deep else 255)
    path.write_bytes(head.encode() + (scan.astype(">u2") if deep else scan).tobytes())


def read_pnm(path, like):
    pixels = path.read_bytes()[-like.nbytes :]
    return np.frombuffer(pixels, ">u2" if like.dtype == np.uint16 else "u1").reshape(like.shape)


def deep(scan):
    """16 bits that are no multiples of 257."""
    noise = np.random.default_rng(1).integers(-128, 129, scan.shape)
    return np.clip(scan.astype(np.int64) * 257 + noise, 0, 65535).astype(np.uint16)


@pytest.fixture(scope="module")
def scans(tmp_path_factory):
    folder = tmp_path_factory.mktemp("scans")
    names = ["slide-faded", "print-faded", "negative-colour", "negative-bw", "strip", "plate", "breviary", "roll/1"]
    arrays = {name.replace("/", ""): sample(name + ".jpg") for name in names}
    arrays["gray"] = zep3.gray(arrays["plate"])
    # A pre-scan of 2 x 2 pixels and an odd size, and one that is cut from another array.
    arrays["large"] = np.kron(arrays["breviary"], np.ones((2, 3, 1), np.uint8))[:-1, :-1]
    arrays |= {"deep-" + name: deep(scan) for name, scan in arrays.items() if name not in ("large", "roll1")}
    for name, scan in arrays.items():
        write_pnm(folder / f"{name}.pnm", scan)
    return folder, arrays


@pytest.mark.parametrize("kind", list(zep3.Kind))
def test_every_kind(scans, kind, tmp_path):
    folder, arrays = scans
    zep3_program("-q", "-k", kind.value, *sorted(folder.glob("*.pnm")), "-o", tmp_path)
    different = {}
    for name, scan in arrays.items():
        result = read_pnm(tmp_path / f"{name}.pnm", scan)
        different[name] = int((zep3.correct(scan, kind) != result).sum())
    assert different == dict.fromkeys(arrays, 0)


@pytest.mark.parametrize(
    "words, options",
    [
        ("--analysis standard", {"analysis": "standard"}),
        ("--level 7 --brightness 40 --contrast -8 --balance 5,-4,3", dict(level=7, brightness=40, contrast=-8, balance=(5, -4, 3))),
        ("--backlight 6 --option plain", dict(backlight=6, plain=True)),
        ("--input-gamma 1.0", dict(gamma=1.0)),
        ("--input-gamma 1.8 --output-gamma 2.4", dict(gamma=1.8, output_gamma=2.4)),
        ("--area 40,60,300,200", dict(area=(40, 60, 300, 200))),
        ("--saturation off", dict(saturation=False)),
        ("--matrix 0.9,0,0,0,1,0,0,0,1.1", dict(matrix=(0.9, 0, 0, 0, 1, 0, 0, 0, 1.1))),
        ("--no-even", dict(even=False)),
    ],
)
def test_options(words, options, tmp_path):
    for kind, name in [("faded-slide", "slide-faded"), ("negative", "negative-colour"), ("document", "plate")]:
        if kind != "document" and "even" in options:
            continue
        scan = sample(name + ".jpg")
        write_pnm(tmp_path / "in.ppm", scan)
        zep3_program("-q", "--overwrite", "-k", kind, *words.split(), tmp_path / "in.ppm", "-o", tmp_path / "out.ppm")
        result = read_pnm(tmp_path / "out.ppm", scan)
        assert int((zep3.correct(scan, kind, **options) != result).sum()) == 0, (kind, words)


def test_profile_tells_the_gamma(slide, tmp_path):
    linear = ImageCms.ImageCmsProfile(ImageCms.createProfile("XYZ")).tobytes()
    srgb = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    assert zep3.profile_gamma(srgb) == 2.2
    assert zep3.profile_gamma(linear) is None and zep3.profile_gamma(b"none") is None
    # sRGB with its curves replaced by a gamma of 1.0: a curve without entries.
    curve = srgb.index(b"para")
    plain = srgb[:curve] + b"curv" + bytes(8) + srgb[curve + 12 :]
    assert zep3.profile_gamma(plain) == 1.0
    for icc in (srgb, plain, linear):
        Image.fromarray(slide).save(tmp_path / "in.png", icc_profile=icc)
        zep3_program("-q", "--overwrite", "-k", "faded-slide", tmp_path / "in.png", "-o", tmp_path / "out.png")
        result = np.asarray(Image.open(tmp_path / "out.png"))
        assert int((zep3.correct(slide, "faded-slide", icc=icc) != result).sum()) == 0


def test_what_is_told(tmp_path):
    for kind, name in [("faded-slide", "slide-faded"), ("negative", "strip"), ("document", "breviary")]:
        scan = sample(name + ".jpg")
        write_pnm(tmp_path / "in.ppm", scan)
        told = json.loads(zep3_program("analyse", "-k", kind, tmp_path / "in.ppm").stdout)
        told = told["pages"][0]
        correction = zep3.analyse(scan, kind)
        assert correction.verdict.value == told["verdict"]
        assert correction.analysis == told["analysis"]["used"]
        assert correction.confidence == pytest.approx(told["analysis"]["confidence"], abs=0.005)
        assert [reason.code for reason in correction.reasons] == [r["code"] for r in told["analysis"]["reasons"]]
        assert list(correction.evidence) == list(told["analysis"]["evidences"])
        if told["frame"] is not None:
            assert np.allclose(correction.window, told["frame"]["corners"], atol=0.06)
            assert correction.frames == told["frame"]["pictures"]
        else:
            assert correction.window is None
        assert set(correction.evidence) <= set(zep3.measurements())


def test_roll(tmp_path):
    names = [f"roll/{i}.jpg" for i in range(1, 9)]
    scans = [sample(name) for name in names]
    for i, scan in enumerate(scans):
        write_pnm(tmp_path / f"{i}.ppm", scan)
    zep3_program("-q", "--roll", "-k", "negative", *sorted(tmp_path.glob("*.ppm")), "-o", tmp_path / "out")
    roll = zep3.Roll("negative")
    for scan in reversed(scans):
        roll.observe(scan)
    members = roll.solve()[::-1]
    assert members.count(zep3.Member.SHARED) == roll.shared.members >= 5
    assert members[7] == zep3.Member.BLANK
    for i, scan in enumerate(scans):
        assert int((roll.finish(scan) != read_pnm(tmp_path / "out" / f"{i}.ppm", scan)).sum()) == 0
        assert roll.analyse(scan).member == members[i]
