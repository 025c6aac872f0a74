"""Arrays of every kind, records that are changed, errors, threads."""

import ast
import copy
import inspect
import pickle
import sys
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import pytest
from conftest import SAMPLES, sample

import zep3


def test_layouts(slide):
    want = zep3.correct(slide, "faded-slide")
    before = slide.copy()
    wide = np.zeros((slide.shape[0] * 2, slide.shape[1] + 7, 3), np.uint8)
    lines = wide[::2, 3:-4]
    lines[:] = slide
    planes = np.ascontiguousarray(slide.transpose(2, 0, 1)).transpose(1, 2, 0)
    upside_down = np.ascontiguousarray(slide[::-1])[::-1]
    mirrored = np.ascontiguousarray(slide[:, ::-1])[:, ::-1]
    read_only = slide.copy()
    read_only.flags.writeable = False
    odd = np.frombuffer(b"x" + slide.tobytes(), np.uint8)[1:].reshape(slide.shape)
    for scan in (lines, planes, upside_down, mirrored, read_only, odd):
        assert np.array_equal(zep3.correct(scan, "faded-slide"), want)
    assert np.array_equal(slide, before)

    deep = slide.astype(np.uint16) * 257
    want = zep3.correct(deep, "faded-slide")
    unaligned = np.frombuffer(b"x" + deep.tobytes(), np.uint8)[1:].view(np.uint16).reshape(deep.shape)
    for scan in (deep.astype(">u2"), deep.astype("<u2"), unaligned):
        assert np.array_equal(zep3.correct(scan, "faded-slide"), want)


def test_in_place_and_out(slide):
    want = zep3.correct(slide, "faded-slide")
    scan = slide.copy()
    assert zep3.correct(scan, "faded-slide", out=scan) is scan
    assert np.array_equal(scan, want)
    frame = np.full((slide.shape[0] + 2, slide.shape[1] + 2, 3), 9, np.uint8)
    zep3.correct(slide, "faded-slide", out=frame[1:-1, 1:-1])
    assert np.array_equal(frame[1:-1, 1:-1], want)
    assert (frame[0] == 9).all() and (frame[:, -1] == 9).all()


def test_channels(slide):
    alpha = np.arange(slide.shape[0] * slide.shape[1], dtype=np.uint8).reshape(slide.shape[:2])
    result = zep3.correct(np.dstack([slide, alpha]), "faded-slide")
    assert np.array_equal(result[..., 3], alpha)
    assert np.array_equal(result[..., :3], zep3.correct(slide, "faded-slide"))
    gray = zep3.gray(slide)
    want = np.rint((13933.0 * slide[..., 0] + 46871.0 * slide[..., 1] + 4732.0 * slide[..., 2]) / 65536)
    assert np.array_equal(gray, want)
    flat = zep3.correct(gray, "photo")
    assert np.array_equal(zep3.correct(gray[..., None], "photo")[..., 0], flat)
    with_alpha = zep3.correct(np.dstack([gray, alpha]), "photo")
    assert np.array_equal(with_alpha[..., 0], flat) and np.array_equal(with_alpha[..., 1], alpha)


def test_tables_are_the_correction(slide):
    correction = zep3.analyse(slide, "photo", analysis="standard")
    assert correction.saturation == 0
    result = zep3.apply(correction, slide)
    table = zep3.tables(correction)
    assert table.shape == (3, 256) and table.dtype == np.uint8
    for c in range(3):
        assert np.array_equal(table[c][slide[..., c]], result[..., c])
    deep = zep3.tables(correction, bits=16)
    assert np.abs(deep[:, ::257].astype(int) - table * 257).max() <= 128


def test_edited_record(slide, page):
    correction = zep3.analyse(slide, "faded-slide")
    before = zep3.apply(correction, slide)
    kept = copy.deepcopy(correction)
    correction.brightness = 60
    correction.judge(slide)
    assert correction.verdict in (zep3.Verdict.GOOD, zep3.Verdict.LOOK)
    assert np.array_equal(zep3.apply(correction, slide), zep3.correct(slide, "faded-slide", brightness=60))
    assert np.array_equal(zep3.apply(kept, slide), before)
    correction = copy.copy(kept)
    correction.green.gamma = correction.green.gamma * 1.3
    lighter = zep3.tables(correction).astype(int) - zep3.tables(kept)
    assert lighter[1].max() > 5 and not lighter[[0, 2]].any()
    correction.master_curve = [(0, 255), (255, 0)]
    assert correction.master_curve == [(0, 255), (255, 0)]
    correction.green.gamma = kept.green.gamma
    turned = zep3.tables(correction).astype(int) + zep3.tables(kept)
    if kept.master_curve == [(0, 0), (255, 255)]:
        assert np.abs(turned - 255).max() <= 1

    correction = copy.copy(kept)
    correction.gray_balance((140, 120, 100))
    assert [correction.red.highlight_in, correction.blue.highlight_in] != [kept.red.highlight_in, kept.blue.highlight_in]

    paper = zep3.analyse(page, "document")
    assert paper.evened
    whole = zep3.apply(paper, page)
    pieces = np.empty_like(page)
    for y in range(0, page.shape[0], 250):
        for x in range(0, page.shape[1], 300):
            piece = page[y : y + 250, x : x + 300]
            zep3.apply(paper, piece, out=pieces[y : y + 250, x : x + 300], at=(x, y))
    assert np.array_equal(pieces, whole)


@pytest.mark.parametrize(
    "call, error, says",
    [
        (lambda scan: zep3.correct(scan, "auto"), ValueError, "negative"),
        (lambda scan: zep3.correct(scan, "portrait"), ValueError, "'portrait'"),
        (lambda scan: zep3.correct(scan / 255, "photo"), TypeError, "float64"),
        (lambda scan: zep3.correct(scan.astype(np.int8), "photo"), TypeError, "int8"),
        (lambda scan: zep3.correct(scan[0, 0], "photo"), ValueError, r"\(3,\)"),
        (lambda scan: zep3.correct(np.zeros((4, 4, 5), np.uint8), "photo"), ValueError, r"\(4, 4, 5\)"),
        (lambda scan: zep3.correct(scan[:0], "photo"), ValueError, "without pixels"),
        (lambda scan: zep3.correct(scan, "photo", level=12), ValueError, "level is 12"),
        (lambda scan: zep3.correct(scan, "photo", gamma=0), ValueError, "gamma is 0"),
        (lambda scan: zep3.correct(scan, "photo", gamma=float("nan")), ValueError, "gamma is nan"),
        (lambda scan: zep3.correct(scan, "photo", analysis="best"), ValueError, "'best'"),
        (lambda scan: zep3.correct(scan, "photo", area=(600, 0, 10, 10)), ValueError, "area"),
        (lambda scan: zep3.correct(scan, "photo", area=(-1, 0, 10, 10)), ValueError, "area is -1"),
        (lambda scan: zep3.correct(scan, "negative", matrix=[0] * 9), ValueError, "colour matrix"),
        (lambda scan: zep3.correct(scan, "photo", out=scan[1:]), ValueError, "shape"),
        (lambda scan: zep3.correct(scan, "photo", out=scan[:, ::-1]), ValueError, "beside"),
        (lambda scan: zep3.correct(scan, "photo", out=scan.astype(np.uint16)), ValueError, "uint16"),
        (lambda scan: zep3.correct(scan, "photo", out=[1]), TypeError, "no array"),
        (lambda scan: zep3.tables(zep3.analyse(scan, "photo"), bits=12), ValueError, "bits"),
        (lambda scan: zep3.Roll("photo").observe(scan), ValueError, "share nothing"),
        (lambda scan: setattr(zep3.analyse(scan, "photo"), "contrast", 100), ValueError, "contrast is 100"),
        (lambda scan: setattr(zep3.analyse(scan, "photo"), "red_curve", [(9, 0), (9, 1)]), ValueError, "curve"),
        (lambda scan: zep3.analyse(scan, "photo").judge(scan[1:]), ValueError, "511 pixels"),
    ],
)
def test_errors(slide, call, error, says):
    with pytest.raises(error, match=says):
        call(slide.copy())


def test_read_only_out(slide):
    slide = slide.copy()
    slide.flags.writeable = False
    with pytest.raises(ValueError, match="read-only"):
        zep3.correct(slide, "photo", out=slide)


def test_points_that_give_no_tables(slide):
    correction = zep3.analyse(slide, "photo")
    correction.red.highlight_out = correction.red.shadow_out
    with pytest.raises(ValueError, match="output points are equal"):
        zep3.apply(correction, slide)


def test_page_of_another_size(page):
    correction = zep3.analyse(page, "document")
    with pytest.raises(ValueError, match="575 x 900"):
        zep3.apply(correction, np.zeros((901, 575, 3), np.uint8))


def test_threads(slide, page):
    work = [("faded-slide", slide), ("document", page), ("negative", sample("negative-colour.jpg"))] * 4
    want = [zep3.correct(scan, kind) for kind, scan in work]
    with ThreadPoolExecutor(6) as pool:
        got = list(pool.map(lambda job: zep3.correct(job[1], job[0]), work))
    assert all(np.array_equal(a, b) for a, b in zip(got, want))


def test_python_goes_on_meanwhile():
    """Another thread runs while the library works: the lock is released."""
    scan = np.kron(sample("negative-colour.jpg"), np.ones((6, 6, 1), np.uint8))
    running = threading.Event()
    done = threading.Event()
    turns = 0

    def work():
        running.set()
        zep3.correct(scan, "negative")
        done.set()

    thread = threading.Thread(target=work)
    thread.start()
    running.wait()
    while not done.wait(0.001):
        turns += 1
    thread.join()
    assert turns > 10


def test_roll_is_kept():
    scans = [sample(f"roll/{i}.jpg") for i in (1, 2, 3, 4)]
    roll = zep3.Roll("negative")
    for scan in scans:
        roll.observe(scan)
    roll.solve()
    later = zep3.Roll("negative")
    later.shared = pickle.loads(pickle.dumps(roll.shared))
    assert later.shared == roll.shared
    assert np.array_equal(later.finish(scans[1]), roll.finish(scans[1]))
    assert zep3.Roll("negative").solve() == []
    alone = zep3.Roll("negative")
    assert pickle.loads(pickle.dumps(alone.observe(scans[0]))) == alone.observations[0]
    assert alone.solve() == [zep3.Member.SINGLE]
    assert np.array_equal(alone.finish(scans[0]), zep3.correct(scans[0], "negative"))
    assert alone.analyse(scans[0]).member == zep3.Member.SINGLE


def test_stub_names_what_there_is():
    """Every name of the extension is in its stub, and the other way round; so are options and their order."""
    core = sys.modules["zep3._core"]
    stub = ast.parse((Path(zep3.__file__).parent / "_core.pyi").read_text())

    def names(body):
        found = set()
        for node in body:
            if isinstance(node, (ast.FunctionDef, ast.ClassDef)):
                found.add(node.name)
            elif isinstance(node, ast.AnnAssign):
                found.add(node.target.id)
            elif isinstance(node, ast.Assign):
                found.update(target.id for target in node.targets)
        return {name for name in found if not name.startswith("__")}

    there = {name for name in vars(core) if not name.startswith("__")}
    assert names(stub.body) - {"Array"} == there
    for node in stub.body:
        if isinstance(node, ast.ClassDef):
            runtime = vars(getattr(core, node.name))
            public = {name for name in runtime if not name.startswith("__") and name.strip("_")}
            public = {n for n in public if not n.startswith("_") or n in ("_tables", "_apply")}
            assert names(node.body) == public, node.name
    settings = next(node for node in stub.body if getattr(node, "name", "") == "Settings").body[0]
    options = [argument.arg for argument in settings.args.kwonlyargs]
    assert options == list(inspect.signature(zep3.analyse).parameters)[2:]
    for option in options:
        assert f"{option}: " in zep3._core.Settings.__init__.__doc__


def test_every_name_is_described():
    for name in zep3.__all__:
        assert getattr(zep3, name).__doc__, name
    for name, attribute in vars(zep3.Correction).items():
        if isinstance(attribute, property):
            assert attribute.__doc__, name
    for kind in zep3.Kind:
        assert zep3.kind_text(kind)
    assert SAMPLES.is_dir()


def marked(pink):
    """A page with text, a broad stroke of pink marker and a picture: dark, but for a pink half."""
    page = np.full((600, 800, 3), 240, np.uint8)
    page[40:560:16, 40:360:3] = page[41:561:16, 40:360:3] = 30
    page[100:180, 480:760] = pink
    page[300:500, 480:760] = (50, 60, 40)
    page[320:380, 500:740] = pink
    return page


def test_marker_is_light_in_gray():
    pink = np.array((240, 140, 190))
    page = marked(pink)
    correction = zep3.analyse(page, "background")
    assert correction.evened
    result = zep3.apply(correction, page)
    luma, read = zep3.gray(result).astype(int), zep3.gray(result, correction).astype(int)
    # Half of the way to the lightest channel, which is white.
    assert abs(read[140, 600] - (luma[140, 600] + 255) / 2) < 3 and luma[140, 600] < 190
    assert np.array_equal(read[300:500, 480:760], luma[300:500, 480:760])
    piece = zep3.gray(result[120:400, 500:700], correction, at=(500, 120))
    assert np.array_equal(piece, read[120:400, 500:700])
    with pytest.raises(ValueError, match="no part of it"):
        zep3.gray(result, correction, at=(1, 0))
    assert np.array_equal(zep3.gray(result[..., 0], correction), result[..., 0])
