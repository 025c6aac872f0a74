"""Pages corrected on their way through OCRmyPDF.

    ocrmypdf --plugin zep3.ocrmypdf scan.pdf out.pdf

Readers of text get each page evened, in gray. The pages of the result are corrected, too, unless --zep3-ocr-only is given.
"""

from __future__ import annotations

import logging
from argparse import ArgumentParser, Namespace
from pathlib import Path
from typing import Any, Optional

import numpy as np
from ocrmypdf import hookimpl
from ocrmypdf.exceptions import BadArgsError
from PIL import Image

import zep3

log = logging.getLogger(__name__)

# Of a page's picture that OCRmyPDF has as JPEG; as the program zep3 writes them.
JPEG_QUALITY = 95


@hookimpl
def add_options(parser: ArgumentParser) -> None:
    group = parser.add_argument_group("zep3", "Correction of the pages' pictures")
    group.add_argument(
        "--zep3-kind",
        choices=[kind.value for kind in zep3.Kind],
        default=zep3.Kind.DOCUMENT.value,
        help="What was scanned (document)",
    )
    group.add_argument("--zep3-analysis", choices=["adaptive", "standard"], help="How the correction is found")
    group.add_argument("--zep3-level", type=int, choices=range(10), default=4, help="Strength of the correction (4)")
    group.add_argument(
        "--zep3-ocr-only", action="store_true", help="Correct what the OCR reads, and leave the pages as they are"
    )


@hookimpl
def check_options(options: Namespace) -> None:
    if options.zep3_ocr_only:
        return
    if options.redo_ocr:
        raise BadArgsError("--redo-ocr keeps pages as they are: give --zep3-ocr-only with it")
    # OCRmyPDF makes pages anew from their pictures only where an option of its own asks for that.
    options.lossless_reconstruction = False


def _corrected(page: Any, image: Image.Image) -> Optional[tuple[Any, zep3.Correction]]:
    """The pixels of a page's picture, corrected, and by what; None where there is nothing to correct."""
    if image.mode == "1":
        return None
    options = page.options
    plain = image if image.mode in ("L", "RGB") else image.convert("RGB")
    scan = np.asarray(plain)
    number = page.pageno + 1
    try:
        correction = zep3.analyse(
            scan,
            options.zep3_kind,
            icc=image.info.get("icc_profile"),
            analysis=options.zep3_analysis,
            level=options.zep3_level,
        )
    except ValueError as error:
        log.warning("page %d is left as it is: %s", number, error)
        return None
    if correction.verdict in (zep3.Verdict.LOOK, zep3.Verdict.FAILED):
        why = "; ".join(reason.text for reason in correction.reasons)
        log.warning("page %d: please look at the result: %s", number, why)
    return zep3.apply(correction, scan), correction


@hookimpl
def filter_ocr_image(page: Any, image: Image.Image) -> Image.Image:
    corrected = _corrected(page, image)
    if corrected is None:
        return image
    result = Image.fromarray(zep3.gray(*corrected))
    result.info["dpi"] = image.info["dpi"]
    return result


@hookimpl
def filter_page_image(page: Any, image_filename: Path) -> Path:
    with Image.open(image_filename) as image:
        if page.options.zep3_ocr_only:
            return image_filename
        corrected = _corrected(page, image)
        if corrected is None:
            return image_filename
        result = Image.fromarray(corrected[0])
        kept = {key: image.info[key] for key in ("dpi", "icc_profile") if key in image.info}
        if image.format == "JPEG":
            kept["quality"] = JPEG_QUALITY
        written = image_filename.with_name("zep3_" + image_filename.name)
        result.save(written, format=image.format, **kept)
    return written
