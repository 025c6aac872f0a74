# %% [markdown]
# A scan finished from Python, step by step. The cells can be run one by one in an editor that knows `# %%`, or all of
# them: `python3 first_steps.py SCAN KIND FOLDER`
# %%
import sys
from pathlib import Path

import numpy as np
from PIL import Image, ImageDraw

import zep3

scan_name, kind, folder = sys.argv[1], sys.argv[2], Path(sys.argv[3])
image = Image.open(scan_name)
scan = np.asarray(image)
Image.fromarray(scan).save(folder / "before.png")

# %% [markdown]
# One call finishes it. The kind must be named: a scan does not tell it.
# %%
finished = zep3.correct(scan, kind, icc=image.info.get("icc_profile"))
Image.fromarray(finished).save(folder / "finished.png")

# %% [markdown]
# Why does it look so? The same in two steps.
# %%
correction = zep3.analyse(scan, kind, icc=image.info.get("icc_profile"))
print(f"{correction.verdict.value}, {correction.analysis} analysis, confidence {correction.confidence:.2f}")
for reason in correction.reasons:
    print("-", reason.sentence)
units = zep3.measurements()
for name, value in correction.evidence.items():
    print(f"{name:16} {np.round(value, 3)} {units[name].unit}")

# %% [markdown]
# A correction can be changed, checked again, and applied.
# %%
correction.brightness += 40  # 100 is one stop
correction.judge(scan)
print("lighter:", correction.verdict.value)
Image.fromarray(zep3.apply(correction, scan)).save(folder / "lighter.png")

# %% [markdown]
# The tables, as a picture: from the scan's values (left to right) to the result's (bottom to top).
# %%
curves = Image.new("RGB", (256, 256), "white")
draw = ImageDraw.Draw(curves)
for table, colour in zip(zep3.tables(correction), ("red", "green", "blue")):
    draw.line([(value, 255 - int(result)) for value, result in enumerate(table)], fill=colour, width=2)
curves.save(folder / "tables.png")

# %% [markdown]
# Before, after and the tables side by side.
# %%
height = 256
sides = [Image.open(folder / name) for name in ("before.png", "finished.png", "tables.png")]
sides = [side.convert("RGB").resize((side.width * height // side.height, height)) for side in sides]
report = Image.new("RGB", (sum(side.width for side in sides) + 20, height), "white")
left = 0
for side in sides:
    report.paste(side, (left, 0))
    left += side.width + 10
report.save(folder / "report.png")
