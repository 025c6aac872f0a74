"""Statistics to proposed points, one calculator per kind of original; fixed defaults and display conversion.
Levels are 8-bit doubles, record points 257 times that; st holds the levels max0, max1, max2 (0.1, 0.5, 5 %
from the top) and min1 (0.5 % from below) as R, G, B and, on the scale of R+G+B, all channels."""
from math import log10, pow
from types import SimpleNamespace

from numeric import HI, HO, SI, SO, bent, density, fit, store16, total, trunc32


def level_tone(rec, outs, hist, ref=4.0, step=0.07, high=220.0):
    """Five-point master curve that lifts dark images above the reference level; outs = output per level."""
    means = []
    for c in range(3):
        used = [i for i in range(256) if 10.0 <= outs[c][i] <= high]
        count = sum(hist[c][i] for i in used)
        means.append(total(hist[c][i] * outs[c][i] for i in used) / count if count >= 1 else 128.0)
    mix = min(192.0, max(64.0, 0.2 * means[0] + 0.6 * means[1] + 0.2 * means[2]))
    dark = (90.0 - mix) / 90.0 if mix < 90.0 else 0.0
    c = min(1 / (1 - 1 / 2.5), 1 + step * (rec.level - ref))
    d = density(mix)
    e = min(0.06, (d - d / c) * dark)
    pairs = (1.8 * d + e, d + (1.8 - 1) * d * c), (d + e, d), (d / 2.5 + e, d + (d / 2.5 - d) * c)
    inner = [trunc32(255 * pow(10, -v / (rec.screen / 10)), "master") for pair in pairs for v in pair]
    rec.master = [0, 0] + inner + [255, 255]


def point_outputs(rec):
    """Output of every level under the record's own points, per channel."""
    outs = []
    for hi, si, ho, so, gm in rec.points:
        a, b = fit(si / 257, hi / 257, so / 257, ho / 257, gm / 100)
        outs.append([bent(i, a, b, gm / 100) for i in range(256)])
    return outs


def mirrored_outputs(rec):
    """The same of a negative, whose film levels are mirrored in the range: x -> HI * SI / x."""
    outs = []
    for hi, si, ho, so, gm in rec.points:
        a, b = fit(hi / 257, si / 257, so / 257, ho / 257, gm / 100)
        mirrored = [0.0] + [hi / 257 * (si / 257) / i for i in range(1, 256)]
        outs.append([bent(x, a, b, gm / 100) for x in mirrored])
    return outs


def balance(h, limit, low, high):
    """Share (percent) of the channels' own highlights, colour ratio and colour spread."""
    ratio = max(h[:3]) / min(h[:3])
    w = 100.0 if limit > ratio else (limit - 1) / (ratio - 1) * 100
    if h[3] < high:
        w *= (h[3] - low) / (high - low) if h[3] > low else 0.0
    spread = h[0] + h[1] + h[2] - h[3]
    if spread > 3.0:
        w *= (10.0 - spread) / (10.0 - 3.0) if spread < 10.0 else 0.0
    return w, ratio, spread


def raw_highlights(h, w):
    own, common = w / 100, (100 - w) / 100
    return [trunc32((own * h[c] + common * max(h[:3])) * 257) for c in range(3)]


# ramps: (value at the reference level, change per level below it) of the colour-ratio limit, the highlight
# gain limit, the lowest highlight-to-shadow ratio, highlight and shadow reference of the curve matching
PHOTO = SimpleNamespace(
    ramps=((1.07, -0.01), (1.03, 0.015), (3.5, 0.75), (245.0, -4.0), (10.0, 2.5)), low=480.0, high=650.0,
    stretch=1.2, ratio_max=18.0, gamma=100, mid=(200, 500), curve=1)
POSITIVE = SimpleNamespace(
    ramps=((1.095, -0.01), (1.03, 0.03), (3.5, 0.5), (245.0, -7.0), (10.0, 3.0)), low=350.0, high=600.0,
    stretch=0.9, ratio_max=25.0, gamma=105, mid=(120, 390), curve=2)


def photo(rec, st, t=PHOTO):
    film, h = t is POSITIVE, st.max1
    k, factor = (4.0 - rec.level if rec.level <= 4 else 0.0), 1.0
    slope, best = 0.0, 0.0
    for c in range(3):
        if h[c] > best:
            best, slope = h[c], st.slopes[c]
    if slope < 1 and t.mid[0] <= st.range3 < t.mid[1]:
        factor = 2.0 if slope <= 0.5 else 1 / slope
    limit, gain_max, ratio_min, hl_ref, sd_ref = [base + step * k for base, step in t.ramps]
    hl_ref = t.ramps[3][0] + t.ramps[3][1] * k * factor
    lowest = 71 if film else (135, 200, 179, 157, 135)[min(max(rec.level, 0), 4)]
    w = 0.0 if rec.level == 1 else balance(h, limit, t.low, t.high)[0]
    stretched = ((h[3] - st.max2[3]) * t.stretch + h[3]) * 245 / 255 / h[3]
    gain = min(gain_max, st.max0[3] / h[3], max(st.max2[3] / h[3], stretched))
    hl = [trunc32(v / 257 * gain * 257) for v in raw_highlights(h, w)]
    top = max(hl) / 257
    if not film and top > 245.0:
        hl = [trunc32(v / 257 * 245.0 / top * 257) for v in hl]
    hl = [lowest * 257 if lowest > v / 257 else v for v in hl]
    ratio = min(t.ratio_max, max(ratio_min, max(hl[c] / 257 / st.min1[c] for c in range(3))))
    rec.points = []
    for hi in hl:
        si = trunc32(hi / 257 / ratio * 257)
        gm = max(t.gamma, trunc32((hi / 62965) * ((62965 - 2570) / (hi - si)) * 100 + 0.5))
        a, b = fit(si / 257, hi / 257, sd_ref, hl_ref, gm / 100, film)
        hi, si = store16(pow(245.0 / b, gm / 100) + a), store16(pow(10.0 / b, gm / 100) + a)
        if rec.option == 1:                   # straight line; film truncates where paper rounds
            gm = 100
            si = trunc32(10.0 * (hi / 62965) * 257) if film else trunc32(2570 * (hi / 62965) + 0.5)
        rec.points.append([hi, si, 62965, 2570, gm])
    rec.curves, rec.sat, rec.flag = [t.curve, 4 if rec.option == 1 else 5], 0, int(rec.level > 4)
    if rec.flag:
        level_tone(rec, point_outputs(rec), st.hist)


def paper(st, k, gain_low, gain_high, cast_factor):
    """Balanced raw highlights and gain of the calculators that push the paper to white."""
    w, ratio, spread = balance(st.max1, 1.13 - 0.01 * k, 275.0 + 25.0 * k, 475.0 + 25.0 * k)
    cast = max(0.0, (spread - 3.0) / (10.0 - 3.0)) + (ratio - 1) * cast_factor
    return raw_highlights(st.max1, w), gain_low + min(1.0, cast) * (gain_high - gain_low)


def gained(raw, gain, lowest):
    v = trunc32(raw / 257 * gain * 257)
    return lowest * 257 if lowest > v / 257 else v


def document(rec, st, ground=False):
    k = 7.0 - rec.level
    raw, gain = paper(st, k, 0.85 + 0.02 * k, 0.94 + 0.01 * k, 8.0 + 1.0 * k)
    even = [gained(v, gain, 153) for v in raw]
    hl = [gained(trunc32(st.max1[c] * 257), gain, 100) for c in range(3)] if ground else even
    weight = 0.85 if ground else 0.775 + 0.025 * k
    ratio = min(10.0, max(1.5 + 0.25 * k, 0.85 * max(even[c] / 257 / st.min1[c] for c in range(3))))
    rec.points = []
    for c in range(3):
        if rec.option == 1:
            si, gm = trunc32(even[c] / 65535 * 2570 + 0.5), 100
        else:
            si = trunc32(even[c] / 257 / ratio * 257)
            gm = trunc32(((hl[c] / 65535 * 62965 / (hl[c] - si) - 1) * weight + 1) * 100 + 0.5)
        rec.points.append([hl[c], si, 65535, 2570, gm])
    rec.curves, rec.sat, rec.flag = [1, 4 if rec.option == 1 else 5], 0, 0


def background(rec, st):
    k = 7.0 - rec.level
    raw, gain = paper(st, k, 0.83 + 0.025 * k, 0.88 + 0.01 * k, -5.0 - 1.0 * k)
    hl = [gained(v, gain, 150) for v in raw]
    v = max(0.0, max(hl[c] / 257 / st.min1[c] for c in range(3))) * 0.85
    least = 1.5 + 0.25 * k
    ratio = least if least > v else 10.0 if v > 10.0 else v - (0.9 - 0.15 * k)
    rec.points = []
    for hi in hl:
        si = trunc32(min(hi / 257 / ratio, 100.0) * 257)
        gm = trunc32(((hi * 65278 / (hi - si) / 65535 - 1) * (0.775 + 0.025 * k) + 1) * 100 + 0.5)
        rec.points.append([hi, si, 65535, 257, gm])
    rec.curves, rec.sat, rec.flag = [1, 4], 0, 0


def mono_negative(rec, st):
    k = 2.0 - rec.level if rec.level <= 2 else 0.0
    u, s = st.max0[:3], st.min1[:3]
    mean = (u[0] / s[0] + u[1] / s[1] + u[2] / s[2]) / 3
    if mean < 1.67:                           # too flat: the green end decides which points give way
        g = u[1]
        for c in range(3):
            lower, upper = mean * s[c] / 1.67, 1.67 * u[c] / mean
            if g >= 100:
                s[c] = s[c] * mean / 1.67
            elif g <= 60:
                u[c] = u[c] / mean * 1.67
            else:
                s[c] = s[c] * (100 - g) / 40 + lower * (g - 60) / 40
                u[c] = u[c] * (g - 60) / 40 + upper * (100 - g) / 40
    cap = 8.79 + 4.13 * k
    s = [max(0.1, u[c] / cap if u[c] / s[c] > cap else s[c]) for c in range(3)]
    u = [max(0.1, v) for v in u]
    widest = max(u[c] / s[c] for c in range(3))
    rec.points = []
    for c in range(3):
        if u[c] / s[c] < widest * 0.25:
            u[c] = s[c] * widest * 0.25
        g = log10(u[c] / s[c]) * 1.45 * u[c] / (u[c] - s[c])
        a, b = fit(s[c], u[c], 8.0 + 4.0 * k, 270.0 - 20.0 * k, g, True)
        ends = [s[c] * u[c] / max(0.1, pow(out / b, g) + a) for out in (200.0, 10.0)]
        gm = trunc32(g * 100 + 0.5, "points")
        rec.points.append([store16(ends[0]), store16(ends[1]), 51400, 2570, gm])
    rec.curves, rec.sat, rec.flag = [2, 5], 0, int(rec.level > 2)
    if rec.flag:
        level_tone(rec, mirrored_outputs(rec), st.hist, 2.0, 0.05, 200.0)


def restoration(rec, st):
    k = 4.0 - rec.level if rec.level <= 4 else 0.0
    hl_ref = hl_to = 255.0 - 3.33 * k
    sd_ref, sd_to = 3.0 + 5.0 * k, 5.0 + 5.0 * k
    counts = [sum(row) for row in st.hist]
    hl, g, a, b, outs, m = st.max1[:3], [0.0] * 3, [0.0] * 3, [0.0] * 3, [None] * 3, [0.0] * 3
    sd = [hl[c] / 1.3 if 1.3 > hl[c] / st.min1[c] else st.min1[c] for c in range(3)]

    def measure(c):
        outs[c] = [bent(i, a[c], b[c], g[c]) for i in range(256)]
        m[c] = max(0.1, total(outs[c][i] * st.hist[c][i] for i in range(256)) / counts[c])

    for c in range(3):
        first = (1 - pow(sd[c] / hl[c], 1.8)) * hl[c] * ((hl_ref - sd_ref) / (hl[c] - sd[c]))
        g[c] = max(0.1, min(2.0, first / (hl_ref * (1 - pow(sd_ref / hl_ref, 1.8)))))
        a[c], b[c] = fit(sd[c], hl[c], sd_ref, hl_ref, g[c], True)
        hl[c], sd[c] = pow(hl_to / b[c], g[c]) + a[c], pow(sd_to / b[c], g[c]) + a[c]
        measure(c)
    g0, least, mean = g[:], min(m), (m[0] + m[1] + m[2]) / 3
    # a mean below the band 120..255 is half pulled back; one above it cannot occur
    t = 120.0 - 0.5 * (120.0 - least) if 120.0 > least else least
    target = max(0.1, max(mean * 0.943, min(mean, t)))
    for step in range(3):
        g = [max(0.1, g[c] * (log10(m[c] / 255) / log10(target / 255))) for c in range(3)]
        if step < 2:
            for c in range(3):
                a[c], b[c] = fit(sd[c], hl[c], sd_to, hl_to, g[c], True)
                measure(c)
        if step == 1:                         # agreement of mid-tone and full colour spread widens the band
            mids = []
            for c in range(3):
                run, used = 0, []
                for i in range(256):
                    run += st.hist[c][i]
                    if 0.3 * counts[c] < run < (1 - 0.3) * counts[c]:
                        used.append(i)
                count = sum(st.hist[c][i] for i in used)
                mids.append((total(st.hist[c][i] * outs[c][i] for i in used), count))
            f = 1.0
            if all(count > 1 for _, count in mids):
                mid_means = [s / count for s, count in mids]
                d = abs(max(m) / min(m) - max(mid_means) / min(mid_means))
                f = 2.0 * (0.1 - d) / 0.1 + 1 if d < 0.1 else 1.0
            lo, hi = 1.4 * f, 1.7 * f
    r = [g[c] / g0[c] for c in range(3)]
    spread = max(r) / min(r) / pow(max(g0), 1.5)
    w = 1.0 if spread < lo else 0.0 if spread > hi else (1 - (spread - lo) / (hi - lo)) * lo / spread
    g = [g0[c] * (1 + w * (r[c] - 1)) for c in range(3)]
    rec.points = []
    for c in range(3):
        a[c], b[c] = fit(sd[c], hl[c], sd_to, hl_to, g[c], True)
        ends = [store16(pow(out / b[c], g[c]) + a[c]) for out in (240.0, 15.0)]
        rec.points.append(ends + [61680, 3855, trunc32(100 * g[c] + 0.5, "points")])
    s = [abs((61680 - 3855) / (p[HI] - p[SI])) for p in rec.points]
    q = pow((min(s) / s[0]) * (min(s) / s[1]) * (min(s) / s[2]), 2.0 / 3.0)
    mean = (g[0] + g[1] + g[2]) / 3
    d = [7.0 / (p[HI] / p[SI]) - 1 if p[HI] / p[SI] < 7.0 else 0.0 for p in rec.points]
    d2 = (d[0] + d[1] + d[2]) - min(d)
    score = min(50.0, d2 * 12.0 * 0.5 + (30.0 * (mean - 1) if mean > 1 else 0.0) + 10.0 * (1 - q))
    rec.sat = trunc32(0.5 + score * rec.level * 0.25, "saturation")
    rec.curves, rec.flag = [2, 5], int(rec.level > 4)
    if rec.flag:
        level_tone(rec, point_outputs(rec), st.hist)


def calculate(rec, st):
    if rec.type == 3:
        mono_negative(rec, st)
    elif rec.sub == 2:
        restoration(rec, st)
    elif rec.type == 1:
        photo(rec, st, POSITIVE)
    elif rec.sub in (0, 1, 3, 4):             # any other reflective sub-mode keeps the caller's points
        (photo, document, None, background, lambda r, s: document(r, s, True))[rec.sub](rec, st)


# ---- fixed defaults and display conversion ----------------------------------------------------------------

def fixed_defaults(rec):
    if rec.type not in (1, 2):
        rec.points, rec.curves = [[7710, 51400, 51400, 2570, 150] for _ in range(3)], [2, 5]
        return
    rec.curves = [1, 5 if rec.sub == 1 else 4]
    if rec.sub in (0, 1, 3):
        values = [62965, 2570, 62965, 2570, 100] if rec.sub == 0 else [59110, 8995, 65535, 2570, 107]
        rec.points = [values[:] for _ in range(3)]


def to_display(rec):
    e = 1.8 / (rec.screen / 10)
    key = None if e == 1.0 else "points"      # a power of one is exact
    for p in rec.points:
        for field in (HI, SI, HO, SO):
            y = pow(p[field] / 257 / 255, e)
            inverted = rec.negative and field in (HI, SI)
            p[field] = trunc32(257 * (255 - 255 * y) if inverted else 65535 * y, key)
