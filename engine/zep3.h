/*
 * zep3.h: automatic exposure and colour correction of scanned images.
 *
 * FinishZEP3 finishes a scan in one call. Its steps are calls of their own:
 *
 * A caller describes a pre-scan (ZEP3_BmpInfo) and the kind of original (ZEP3_PARA), calls ZEP3, and finds in the
 * same record the proposed correction: per channel an input and an output highlight point, an input and an output
 * shadow point and a gamma. MakeZEP3LUT turns the completed record, together with the user's brightness, contrast,
 * colour balance and tone curves, into three tables of 256 bytes to push the final scan through.
 *
 * Scales. A level stands on one of three, and every field below names its own:
 *   linear level   0..255 at gamma 1.8: pixels, and the input side of a table. Fractional inside the engine.
 *   display level  0..255 in the display's gamma G (lScreenGamma / 10): the output side of a table, the points of tone
 *                  curves, and picked colours. A linear level v shows as 255 * (v / 255)^(1.8 / G).
 *   16-bit level   0..65535, 257 times a display level: the points of the record.
 *
 * Channels are red, green, blue (index 0, 1, 2) throughout.
 *
 * Calls keep no state and share none: calls on distinct records may run at the same time, two calls on one record must
 * not. No call prints, logs or throws. A call that does something returns 1, or 0 when it refuses; CheckZEP3 says why
 * in words. The caller's floating-point environment (rounding, traps, flags) is neither felt nor changed.
 *
 * Whatever the fields and arguments hold, each call returns, reads only the records, tone records and pixels that it is
 * given, and writes only what is documented. A null for a required pointer, and a lack of memory, give 0 with nothing
 * written; only an analysis that runs out of memory may have written a part. Values outside a field's range have
 * defined results: a conversion whose result is not a number, or lies outside 32 bits, yields -2147483648; a table
 * entry that is not a number, or lies outside 32 bits, yields 0, and one outside 0..255 its low 8 bits. The engine
 * cannot know how long the pixel buffer is: width, height, stride and pixel format must describe memory that exists.
 *
 * Plain C99, also C++. The records are binary interface: the machine's byte order, 8-byte alignment, 64-bit pointers.
 */
#ifndef ZEP3_H
#define ZEP3_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(ZEP3_BUILDING)
#define ZEP3_API __declspec(dllexport)
#else
#define ZEP3_API
#endif
#elif defined(__GNUC__)
#define ZEP3_API __attribute__((visibility("default")))
#else
#define ZEP3_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- codes ------------------------------------------------------------------------------------------------------ */

/* ZEP3_PARA::wDocType, the kind of original; compared as signed 16 bits. */
enum {
  ZEP3_DOC_NEGATIVE = 0,   /* colour negative film */
  ZEP3_DOC_POSITIVE = 1,   /* positive film, slides */
  ZEP3_DOC_REFLECTIVE = 2, /* reflective original on a flatbed: print, document */
  ZEP3_DOC_NEGATIVE_BW = 3 /* monochrome negative film */
};

/* ZEP3_PARA::wSubMode. Films know only ZEP3_SUB_RESTORATION; any other value is their normal calculator. */
enum {
  ZEP3_SUB_PHOTO = 0,
  ZEP3_SUB_DOCUMENT = 1,
  ZEP3_SUB_RESTORATION = 2,         /* faded original */
  ZEP3_SUB_BACKGROUND_REMOVAL = 3,  /* paper to white, neutral */
  ZEP3_SUB_GROUND_COLOR_REMOVAL = 4 /* each channel's own paper level to white */
};

/* ZEP3_PARA::wDocOption: 1 selects the plainer handling; any other value is the normal case. */
enum { ZEP3_OPTION_PLAIN = 1, ZEP3_OPTION_NORMAL = 2 };

/* ZEP3_IC::wHlCurveType, the highlight end of the curve. Any other value: left as the base curve has it. */
enum {
  ZEP3_HL_HARD_CLIP = 0,
  ZEP3_HL_NONE = 1,
  ZEP3_HL_ROLL_OFF = 2, /* smooth shoulder up to 255 */
  ZEP3_HL_AUTO = 6      /* resolved and written back: roll-off for negatives, none for the others */
};

/* ZEP3_IC::wSdCurveType, the shadow end of the curve. Any other value: left as the base curve has it. */
enum {
  ZEP3_SD_HARD_CLIP = 3,
  ZEP3_SD_NONE = 4,
  ZEP3_SD_TOE = 5, /* smooth toe down to 0 */
  ZEP3_SD_AUTO = 7 /* resolved and written back: toe for negatives, none for the others */
};

/*
 * ZEP3_BmpInfo::wPixelFormat, the samples of a pixel in the order in which they lie in memory. ZEP3 and ZEP3Adaptive
 * know the first three and read any other value as ZEP3_PIXEL_BGR. X and A are samples that no call reads or writes.
 */
enum {
  ZEP3_PIXEL_RGB = 0,
  ZEP3_PIXEL_BGR = 1,
  ZEP3_PIXEL_XRGB = 2,
  ZEP3_PIXEL_RGBA = 3,
  ZEP3_PIXEL_BGRA = 4,
  ZEP3_PIXEL_GRAY = 5,
  ZEP3_PIXEL_GRAYA = 6
};

/* ZEP3_BmpInfo::lBitCount, which tells the depth of a sample, whatever wPixelFormat says. */
enum {
  ZEP3_BITS_8 = 24, /* a byte each */
  ZEP3_BITS_16 = 48 /* uint16_t each, in the processor's byte order; not for ZEP3 and ZEP3Adaptive */
};

/*
 * The gamma of a scan's values, in tenths as lScreenGamma: 18 are linear levels, 10 is light itself. A gamma of 2.2
 * follows sRGB within a few levels. That is much in the dark, where its curve has a straight foot: 10 of 255 stands for
 * four times the light. Densities are right by the curve alone.
 */
enum { ZEP3_GAMMA_LINEAR_LEVELS = 18, ZEP3_GAMMA_SRGB = 22, ZEP3_GAMMA_SRGB_CURVE = -22 /* lScanGamma only */ };

/* A point field that is not set. A channel with one of its five fields unset counts as unset as a whole. */
enum { ZEP3_UNSET = -1 };

/* Room for control points in a tone curve. */
enum { ZEP3_TONE_POINTS = 16 };

/* ZEP3_EVIDENCE::lAnalysis, whose points the record holds. */
enum {
  ZEP3_ANALYSIS_STANDARD = 0,    /* those of ZEP3 */
  ZEP3_ANALYSIS_POSITIVE = 1,    /* adaptive, prints and slides */
  ZEP3_ANALYSIS_NEGATIVE = 2,    /* adaptive, colour negatives */
  ZEP3_ANALYSIS_NEGATIVE_BW = 3, /* adaptive, monochrome negatives */
  ZEP3_ANALYSIS_PAGE = 4         /* adaptive, documents */
};

/* ZEP3_EVIDENCE::lReasons, a sum of these. GetZEP3Reason has a code and a sentence for each. */
enum {
  /* Why the record holds the points of ZEP3. */
  ZEP3_REASON_NOT_ADAPTIVE = 1 << 0, /* this kind of original, or the plain handling, has no adaptive analysis */
  ZEP3_REASON_DEFAULTS = 1 << 1,     /* levels are unusable (blank, clipped): default points */
  ZEP3_REASON_TOO_LITTLE = 1 << 2,   /* too few blocks, or hardly any contrast, to decide from */

  /* What the adaptive analysis met. */
  ZEP3_REASON_BORDER_REMOVED = 1 << 3, /* mount, holder, clear film or open light around the picture left out */
  ZEP3_REASON_INTACT = 1 << 4,         /* looks intact: left nearly as it is (trust below 0.3); see ..._BASE */
  ZEP3_REASON_UNCERTAIN = 1 << 5,      /* followed in part (trust 0.3 to 0.7) */
  ZEP3_REASON_NO_WHITE = 1 << 6,       /* the brightest thing is no white */
  ZEP3_REASON_NO_BLACK = 1 << 7,       /* no black in the scene: contrast not stretched to one */
  ZEP3_REASON_COLOURED_WHITE = 1 << 8, /* the lightest parts are coloured and were outvoted */
  ZEP3_REASON_COLOURED_BLACK = 1 << 9, /* the darkest parts are */
  ZEP3_REASON_ONE_COLOUR = 1 << 10,    /* one colour dominates: balance rests on what is usual */
  ZEP3_REASON_STRONG_FADING = 1 << 11, /* less than 55 % of a dye is left */
  ZEP3_REASON_STAIN = 1 << 12,         /* yellow stain or cast removed */
  ZEP3_REASON_MEASURED_BASE = 1 << 13, /* the film's base was measured at its clear border */
  ZEP3_REASON_INCANDESCENT = 1 << 14,  /* incandescent light removed; film that has not faded */
  ZEP3_REASON_FLAT = 1 << 15,          /* flat or thin negative */
  ZEP3_REASON_BRIGHTNESS = 1 << 16,    /* unusually dark or light picture, brought back in part */
  ZEP3_REASON_UNEVEN_FADING = 1 << 17, /* one dye of the negative lost more than the others */

  /* Checks of the result against the scan that failed: with ZEP3_VERDICT_LOOK in the result as it is, with
     ZEP3_VERDICT_GOOD before the correction was weakened. */
  ZEP3_REASON_CLIPPING = 1 << 18,       /* parts of the picture end at black or white that the scan tells apart */
  ZEP3_REASON_MARKS_LOST = 1 << 19,     /* faint marks of the scan can no longer be seen */
  ZEP3_REASON_NEARLY_BLACK = 1 << 20,   /* hardly anything in the result is light */
  ZEP3_REASON_NEARLY_WHITE = 1 << 21,   /* hardly anything in the result is dark */
  ZEP3_REASON_CAST_GREW = 1 << 22,      /* the result has a cast that the scan has not */
  ZEP3_REASON_LOOKS_NEGATIVE = 1 << 23, /* the scan looks like a negative, and was not taken for one */
  ZEP3_REASON_LOOKS_POSITIVE = 1 << 24, /* the scan looks like a positive, and was taken for a negative */
  ZEP3_REASON_WEAKENED = 1 << 25,       /* the correction was weakened until the checks held */
  ZEP3_REASON_UNSURE = 1 << 26,         /* the result is more likely off than not (confidence below 0.5) */

  /* What the analysis of a page met. */
  ZEP3_REASON_NO_PAPER = 1 << 27,       /* no paper to be sure of (a picture fills the page): not evened */
  ZEP3_REASON_UNEVEN_LIGHT = 1 << 28,   /* shade, a fold or stains evened out */
  ZEP3_REASON_COLOURED_SHEET = 1 << 29, /* the sheet is coloured */
  ZEP3_REASON_REVERSE = 1 << 30,        /* light marks on a dark ground: evened, not made white */

  /* All that make a result one to look at. */
  ZEP3_REASON_CHECKS = ZEP3_REASON_CLIPPING | ZEP3_REASON_MARKS_LOST | ZEP3_REASON_NEARLY_BLACK |
                       ZEP3_REASON_NEARLY_WHITE | ZEP3_REASON_CAST_GREW | ZEP3_REASON_LOOKS_NEGATIVE |
                       ZEP3_REASON_LOOKS_POSITIVE | ZEP3_REASON_UNSURE
};

/* Reasons beyond the 31 bits that every compiler's enumerations have. */
#define ZEP3_REASON_SHOW_THROUGH (INT64_C(1) << 31)  /* what shows through from the other side taken back */
#define ZEP3_REASON_WEAK_INK (INT64_C(1) << 32)      /* faint print, darkened */
#define ZEP3_REASON_PICTURES_KEPT (INT64_C(1) << 33) /* pictures or boxes on the page kept as they are */
#define ZEP3_REASON_SHARED (INT64_C(1) << 34)        /* with what was found of all of them together */
#define ZEP3_REASON_ODD (INT64_C(1) << 35)           /* by itself: it shows another film, or faded otherwise */
#define ZEP3_REASON_BLANK (INT64_C(1) << 36)         /* there is nothing on it, or nothing is left of it */
#define ZEP3_REASON_BASE (INT64_C(1) << 37)          /* looks intact: its base taken off (trust below 0.3) */

/* ZEP3_SURFACE::lFound. */
enum {
  ZEP3_SURFACE_NONE = 0,   /* no paper was found: there is nothing to even */
  ZEP3_SURFACE_PAPER = 1,  /* light paper, which becomes even */
  ZEP3_SURFACE_REVERSE = 2 /* light marks on a dark ground (blueprint, slate), whose brightness becomes even */
};

/* ZEP3_CELL::lLies, a sum of these. */
enum {
  ZEP3_CELL_STROKES = 1, /* paper with nothing but strokes on it: text, lines */
  ZEP3_CELL_WHITEN = 2   /* what is nearly paper here is paper */
};

/* Entries of a table of MakeZEP3PageLUT, and the paper's level above which a table does not go. */
enum { ZEP3_PAGE_ENTRIES_8 = 4096, ZEP3_PAGE_ENTRIES_16 = 65536 };

/* ZEP3_EVIDENCE::lVerdict. */
enum {
  ZEP3_VERDICT_NONE = 0,  /* the result was not checked against the scan */
  ZEP3_VERDICT_GOOD = 1,  /* nothing speaks against the result */
  ZEP3_VERDICT_LOOK = 2,  /* somebody should look: lReasons says why */
  ZEP3_VERDICT_FAILED = 3 /* the scan says too little for a correction (blank, clipped): default points */
};

/* CheckZEP3: the calls that are asked about. */
enum {
  ZEP3_CALL_ANALYSE = 0, /* ZEP3, ZEP3Adaptive */
  ZEP3_CALL_TABLES = 1,  /* MakeZEP3LUT and the other table builders, ColorMatrixConv, the pipettes */
  ZEP3_CALL_APPLY = 2,   /* ApplyZEP3LUT, ApplyZEP3LUT16, ApplyZEP3ScanLUT */
  ZEP3_CALL_FINISH = 3   /* MakeZEP3Prescan, FinishZEP3 */
};

/* ---- records ---------------------------------------------------------------------------------------------------- */

/* A pixel position (x to the right, y downwards), or a control point of a tone curve. 16 bytes. */
typedef struct LPOINT {
  int64_t x;
  int64_t y;
} LPOINT;

/*
 * One tone curve, on display levels. 264 bytes.
 *
 * The table builder lays a natural cubic spline through the points, held within 0..255; outside of the points the curve
 * is flat at their outputs. Between two levels it is read linearly. A point whose input is not above the input of the
 * point kept before it is left out; with one point left the curve is that output.
 */
typedef struct ZEP3_TONE {
  int16_t wPointNum;               /* points in use, 2..16; 0 or less: no curve; above 16: the first 16 */
  LPOINT ptCtrl[ZEP3_TONE_POINTS]; /* x: input display level, strictly rising; y: output display level, 0..255 */
} ZEP3_TONE;

/*
 * The correction of one channel: the input level lHlIn maps to lHlOut, lSdIn to lSdOut, and the power curve
 * out = b * (in - a)^(1 / gamma), laid on linear levels, runs through both. For the negative types (0 and 3) the input
 * points are given on the inverted scale, that of the positive picture. 40 bytes; -1 in any field: the channel is not
 * set.
 */
typedef struct ZEP3_POINTS {
  int64_t lHlIn;  /* highlight input, 16-bit level */
  int64_t lSdIn;  /* shadow input, 16-bit level */
  int64_t lHlOut; /* highlight output, 16-bit level */
  int64_t lSdOut; /* shadow output, 16-bit level; must differ from lHlOut */
  int64_t lGamma; /* gamma times 100: 100 is 1.00; above 0 */
} ZEP3_POINTS;

/* The image correction: what the analysis proposes and what the user adds. 184 bytes. */
typedef struct ZEP3_IC {
  ZEP3_POINTS ch[3]; /* red, green, blue; written by ZEP3, the pipettes, the palette adjustment, and where not set by
                        the table builder */
  uint16_t
      wHlCurveType; /* ZEP3_HL_...; written by ZEP3, and by the table builder where automatic or a channel is not set */
  uint16_t wSdCurveType;  /* ZEP3_SD_...; likewise */
  int64_t lBrightness;    /* user: density shift of the input points in steps of 0.003, signed; 0: none */
  int64_t lContrast;      /* user: percent of the way from the points to their midpoint; read as -99..99; 0: none */
  int64_t lColorBalanceR; /* user: added to lBrightness for red */
  int64_t lColorBalanceG; /* user: added to lBrightness for green */
  int64_t lColorBalanceB; /* user: added to lBrightness for blue */
  ZEP3_TONE* pMasterTone; /* user: tone curve of all channels; null: none. Not owned. */
  ZEP3_TONE* pRGBTone;    /* user: three tone curves, red, green, blue; null: none. Applied first. Not owned. */
} ZEP3_IC;

/* The parameter record, the whole exchange between caller and engine. 248 bytes. */
typedef struct ZEP3_PARA {
  uint16_t wDocType;     /* in: ZEP3_DOC_... */
  uint16_t wSubMode;     /* in: ZEP3_SUB_... */
  uint16_t wDocOption;   /* in: ZEP3_OPTION_... */
  uint16_t wReserved;    /* 0; read by nobody */
  int64_t lScreenGamma;  /* in: display gamma times 10; 22 is 2.2. Above 0. */
  ZEP3_IC ic;            /* in and out */
  int64_t lSaturation;   /* out: proposed saturation change, signed, 0: none. Restoration proposes more of it, for
                            monochrome negatives, where colour is stain, less: 0..125 and -125..0 for negatives. The
                            backlight correction raises it, up to 50, for the chroma that its lift takes. Never applied
                            by the engine; the table builder sets it back to 0. */
  int64_t lLevelFlag;    /* out: 1 when lCorrectLevel lies above the calculator's base level and a master curve was
                            proposed, else 0; 3 instead of 1, and 2 instead of 0, when the backlight correction wrote
                            curves */
  int64_t lCorrectLevel; /* in: strength of the correction, 0..4, default 4. Above the reference of the calculator (4
                            for photos, slides, colour negatives and restoration, 2 for monochrome negatives) a master
                            curve is proposed; documents, whose reference is 7, follow it in both directions. Below 0
                            acts as 0 for colour and faded negatives and where a table is indexed, and is extrapolated
                            elsewhere. */
  int64_t lAgainstLight; /* in: strength of the backlight correction, in eighths: 4 is half, 8 and above full. 0 or
                            less, as it stands or in its low 32 bits read as signed: off. It lifts a dark subject
                            before a bright background by tone curves and leaves white and all points as they are.
                            Nothing happens to default points, to reflective originals in sub-modes other than photo
                            and restoration, and to pictures without two such parts. */
  ZEP3_TONE* pOutMasterTone; /* out: proposed master tone curve, identity when there is none. Not null, not owned. */
  ZEP3_TONE* pOutRGBTone;    /* out: three proposed tone curves, red, green, blue: identity, or six points from the
                                backlight correction, the same for all channels. Not null, not owned. The two may point
                                to the same records as ic.pMasterTone and ic.pRGBTone: the table builder then applies
                                what the analysis proposed. */
} ZEP3_PARA;

/*
 * The analysis area: the four corners of a rectangle that may be rotated, in pixels. 64 bytes.
 *
 * An upright rectangle has ptLeft = ptTop = its top left corner and ptRight = ptBottom = its bottom right corner. A
 * rotated one has four distinct corners in their places and no vertical edge: such an area is refused, or after the
 * margin's shrinking covers other pixels than it should. The analysis leaves a margin out: 5 % of width and height in
 * total.
 */
typedef struct AREA {
  LPOINT ptLeft;   /* smallest x */
  LPOINT ptTop;    /* smallest y */
  LPOINT ptRight;  /* largest x */
  LPOINT ptBottom; /* largest y */
} AREA;

/* An image. 112 bytes. */
typedef struct ZEP3_BmpInfo {
  uint8_t* pBits;  /* first byte of the first line; linear levels where ZEP3 reads them. Written by the apply calls
                      and FinishZEP3 alone. Not owned. */
  int64_t lWidth;  /* pixels per line */
  int64_t lHeight; /* lines */
  int64_t lBytesPerLine; /* bytes from a line to the next; negative for images stored bottom-up (pBits is then the
                            first byte of the top line, which lies last) */
  int64_t lBitCount;     /* ZEP3_BITS_...; what a call does not take it refuses */
  AREA area;             /* analysis area; clipped to the image */
  uint16_t wPixelFormat; /* ZEP3_PIXEL_... */
} ZEP3_BmpInfo;

/*
 * A gray-balance request. 32 bytes, passed by value. A picked colour is what the scan shows before the correction, as
 * display levels; of a negative, what the inverted scan shows.
 */
typedef struct ZEP3_GrayBalance {
  int64_t lRed; /* the picked colour, display levels; below 0.1 counts as 0.1 */
  int64_t lGreen;
  int64_t lBlue;
  int64_t lIntensity; /* strength in percent, 0..100 */
} ZEP3_GrayBalance;

/*
 * Why an adaptive analysis decided as it did. 1024 bytes, plain: copies are as good as the original.
 *
 * What the estimators measured is reached by name (GetZEP3EvidenceItem, GetZEP3Evidence), for which numbers there are
 * changes as they learn; docs/evidence.md lists them.
 */
typedef struct ZEP3_EVIDENCE {
  int64_t lAnalysis;    /* ZEP3_ANALYSIS_... */
  int64_t lReasons;     /* sum of ZEP3_REASON_... */
  double dConfidence;   /* 0..1: the chance that the result is nearer to the original than the scan, and within twice
                           the error that is usual for the kind; 0 where the points are those of ZEP3 */
  int64_t lVerdict;     /* ZEP3_VERDICT_... */
  double dWindow[4][2]; /* the picture's window on the image that the call was given: corners top left, top right,
                           bottom right, bottom left of the upright picture, x and y in pixels from the image's top
                           left corner */
  double dWindowConfidence; /* 0..1: how sure it is that this is the picture; 0: no window was looked for, or none
                               found, and the corners are 0 */
  double dPaper[4][2];      /* a print's sheet with the white border around its picture, likewise; 0 without a border */
  int64_t lFrames;          /* pictures that the image shows whole, the one of the window among them; 0 without one */
  double dMeasured[106];    /* by name alone */
} ZEP3_EVIDENCE;

/*
 * What the means of a pre-scan hide, of each pixel's block of the scan: MakeZEP3PagePrescan makes it. 16 bytes. Null:
 * not known; the analysis of pages then takes the means themselves, and pages of 2 pixels of the scan to one of the
 * pre-scan and more come out with less contrast. In every square of 4 x 4 pixels of the pre-scan only the two at (1, 1)
 * and (2, 2), counted from 0, are written and read.
 */
typedef struct ZEP3_DETAIL {
  uint8_t* pDarkest;   /* R G B of the pixel with the smallest sum of the three, linear levels; 3 bytes a pixel */
  uint8_t* pDeviation; /* standard deviation of the mean of the channels, display levels of gamma 2.2, 0..255 */
} ZEP3_DETAIL;

/* A square of a page. 16 bytes. */
typedef struct ZEP3_CELL {
  float fGain[3]; /* red, green, blue: by what the scan's values, 0..1, are multiplied; paper becomes 1 */
  uint32_t lLies; /* sum of ZEP3_CELL_... */
} ZEP3_CELL;

/*
 * The paper of a page as a surface: for every place, what blank paper has, or would have, there. A plain record, but
 * for the cells, which are the caller's. 256 bytes. It belongs to one scan: on another page it is wrong.
 *
 * A value v of channel c, 0..1, at a place with the gain g, lies at n = v * g on paper that is 1 everywhere. The tables
 * take n * dPaper[c] for the scan's display level.
 */
typedef struct ZEP3_SURFACE {
  int64_t lFound;     /* ZEP3_SURFACE_... */
  int64_t lScanGamma; /* of the scan's values, to which the gains belong, tenths */
  int64_t lWidth;     /* of the scan, pixels */
  int64_t lHeight;    /* likewise */
  int64_t lLeft;      /* the top left corner of the first cell, pixels of the scan; beyond the outermost cells their */
  int64_t lTop;       /* values go on */
  int64_t lSide;      /* pixels of the scan to a cell, each way */
  int64_t lColumns;   /* cells */
  int64_t lRows;      /* likewise */
  double dPaper[3];   /* display level 0..1 to which paper is brought before the tables */
  double dObjectShadow;  /* in pictures and boxes: the record's shadow points times this, ... */
  double dObjectGamma;   /* ... and its gammas */
  double dWhiteFrom;     /* smallest n of a pixel's channels from which it turns white, where paper may, ... */
  double dWhiteTo;       /* ... and from which it is as white as paper */
  ZEP3_CELL* pCells;     /* lRows * lColumns, line by line; not owned */
  int64_t lRoom;         /* in: cells that there is room for at pCells; GetZEP3SurfaceRoom of the pre-scan at least */
  double dObjectTint[3]; /* in pictures and boxes: n times this, the colour of a dyed sheet, which stays there with
                            ZEP3_SUB_BACKGROUND_REMOVAL; else 1 */
  double dReserved[11];  /* 0 */
} ZEP3_SURFACE;

/* Whether a scan belongs to what was found of a roll or box: SolveZEP3Shared. */
enum {
  ZEP3_MEMBER_ODD = -1,  /* another film, or another history: best finished by itself */
  ZEP3_MEMBER_BLANK = 0, /* nothing on it to decide from: blank, wholly exposed, clipped; or no observation at all */
  ZEP3_MEMBER = 1        /* it belongs */
};

/* The bands of ZEP3_OBSERVATION::dBand. */
enum { ZEP3_BANDS = 12 };

/*
 * What one scan says of what it shares with others. 640 bytes, plain: 3 integers and 77 doubles, which may be stored,
 * sent and compared. It depends on the scan and its kind alone. Numbers that do not go with the kind are 0.
 *
 * Levels are linear, means over square blocks of the picture, with their fractions; red, green, blue throughout.
 * Densities are -log10 of the light of a level.
 */
typedef struct ZEP3_OBSERVATION {
  int64_t lDocType; /* ZEP3_DOC_... */
  int64_t lSubMode; /* ZEP3_SUB_RESTORATION for faded originals, else ZEP3_SUB_PHOTO */
  int64_t lState;   /* 1: there is a picture; 0: too little to decide from, the numbers below are 0 */
  /* Negatives. */
  double dMatrix[3];           /* density contrasts that the colour matrix tells, relative to the film's own */
  double dLost;                /* light, 1 at level 255, that the scanner's black level took off all levels */
  double dTop[3];              /* level that 0.1 % of the blocks are lighter than */
  double dClear[3];            /* level of the clear film measured beside the picture; 0: none was found */
  double dBand[ZEP3_BANDS][3]; /* blocks by joint density, from the clear end, in bands that end at 2, 5, 10, 20, 35,
                                  50, 65, 80, 90, 95, 98 and 100 %: the median level of each */
  double dEnd[2][3];           /* levels that end the picture's range: 0.5 % are lighter, 0.1 % darker */
  /* Faded prints and slides. */
  double dLightest[3]; /* density: 0.1 % of the blocks are lighter */
  double dDarkest[3];  /* likewise darker */
  double dWhite[3];    /* density of the blocks that are lightest in all channels at once ... */
  double dBlack[3];    /* ... and darkest */
  double dPile;        /* share of the blocks that lie at the black */
  double dOffset[3];   /* density of the clear original, its base and stain, as this scan by itself has it ... */
  double dDye[3];      /* ... and share of dye left */
  double dGain;        /* nats of evidence for that, against no fading */
  double dCost;        /* nats of misfit that it leaves */
  double dReserved[4]; /* 0 */
} ZEP3_OBSERVATION;

/*
 * What the frames of a roll, or the originals of a box, share. 512 bytes, plain: 4 integers and 60 doubles. It may be
 * kept, and used for later scans of the same film or box in the same setting of the scanner.
 */
typedef struct ZEP3_SHARED {
  int64_t lDocType; /* as the observations' */
  int64_t lSubMode;
  int64_t lFrames;  /* observations that were given ... */
  int64_t lMembers; /* ... and those that belong */
  /* Negatives. */
  double dBase[3];    /* linear level of the clear film */
  double dSlope[3];   /* density per unit of log10 exposure */
  double dToe[3];     /* width of the curve's toe, log10 exposure */
  double dBalance[3]; /* log10 exposure of a neutral by daylight, relative to green */
  double dContrast;   /* of the print, per unit of log10 exposure; 1: the scene's own */
  double dRange;      /* natural logarithm of the exposure range (log10) that a full scene has on this film */
  double dWhite;      /* usual log10 exposure of a frame's whites: how a blank is printed */
  double dCost;       /* usual misfit of a frame, nats */
  double dSpread; /* log10 exposure by which the neutral is unsure: the frames' scatter over the root of their number */
  /* Faded prints and slides. */
  double dOffset[3];    /* density of the clear original */
  double dDye[3];       /* share of dye left */
  double dGain;         /* evidence for a correction that one original lends another, nats */
  double dScatter;      /* how unequal the originals were found: 1 as those of a box usually are; from some 5 on each is
                           finished nearly as by itself */
  double dReserved[35]; /* 0 */
} ZEP3_SHARED;

/* ---- descriptions: constant, for the life of the library ----
 *
 * Strings are UTF-8 and end with a zero byte. A later version may add fields at a record's end: hold pointers to these
 * records, not copies.
 */

/* A kind of original. */
typedef struct ZEP3_KIND {
  const char* pName;  /* "photo"; lower case, with hyphens */
  const char* pText;  /* one line on what was scanned */
  uint16_t wDocType;  /* ZEP3_DOC_... */
  uint16_t wSubMode;  /* ZEP3_SUB_... */
  uint16_t wAdaptive; /* 1: ZEP3Adaptive comes closer to such originals than ZEP3; 0: it has nothing to add */
} ZEP3_KIND;

/* A reason. */
typedef struct ZEP3_REASON {
  int64_t lBit;          /* ZEP3_REASON_... */
  const char* pCode;     /* "border-removed"; lower case, with hyphens */
  const char* pText;     /* a part of a line */
  const char* pSentence; /* the same on its own */
} ZEP3_REASON;

/* A measurement of an adaptive analysis. */
typedef struct ZEP3_EVIDENCE_ITEM {
  const char* pName;  /* "dyeLeft" */
  const char* pLabel; /* for people: "Dye left (R / G / B)" */
  const char* pUnit;  /* "share", "density", "nats" ... */
  const char* pText;  /* what the number tells */
  int64_t lCount;     /* numbers: 1; 3: red, green, blue; 2: red, blue */
  int64_t lDecimals;  /* digits behind the point that mean something */
  int64_t lAnalyses;  /* that measure it, a sum of 1 << ZEP3_ANALYSIS_... */
} ZEP3_EVIDENCE_ITEM;

/* The largest lCount. */
enum { ZEP3_EVIDENCE_COUNT_MAX = 3 };

/* ---- starting records ------------------------------------------------------------------------------------------- */

/*
 * Fills the records with what a caller starts from: a print on a flatbed (ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO),
 * strength 4, no backlight correction, display gamma 2.2, no point set, automatic curve types, no user values, identity
 * tone curves. User and proposed curves share the tone records, so that the table builder applies what the analysis
 * proposes.
 *
 * master  one tone record, rgb three; they must live as long as the record, which points to them.
 *
 * Returns 1; 0 with nothing written when a pointer is null.
 */
ZEP3_API int ResetZEP3(ZEP3_PARA* para, ZEP3_TONE* master, ZEP3_TONE* rgb);

/* Sets wDocType and wSubMode to those of a kind. Returns 1; 0 with nothing written for null or an unknown name. */
ZEP3_API int SetZEP3Kind(ZEP3_PARA* para, const char* pName);

/*
 * Describes plain pixels. The analysis area becomes the whole image.
 *
 * pixels         the first line; not owned.
 * lBytesPerLine  from a line to the next; 0: the lines lie one behind the other.
 * lPixelFormat   ZEP3_PIXEL_...
 * lBitCount      ZEP3_BITS_...
 *
 * Nothing is checked (see CheckZEP3). Returns 1; 0 with nothing written when bmp is null.
 */
ZEP3_API int SetZEP3Image(ZEP3_BmpInfo* bmp, void* pixels, int64_t lWidth, int64_t lHeight, int64_t lBytesPerLine,
                          int64_t lPixelFormat, int64_t lBitCount);

/* ---- what there is, and what is wrong --------------------------------------------------------------------------- */

/* Kinds of original by number, from 0; null behind the last. */
ZEP3_API const ZEP3_KIND* GetZEP3Kind(int64_t lIndex);

/* By name; null for an unknown one, or none. */
ZEP3_API const ZEP3_KIND* FindZEP3Kind(const char* pName);

/* That of a record: its document type and sub-mode as ZEP3 reads them. Null where ZEP3 has no calculator. */
ZEP3_API const ZEP3_KIND* FindZEP3KindOf(const ZEP3_PARA* para);

/* Reasons by number, from 0, in the order in which they are best told; null behind the last. */
ZEP3_API const ZEP3_REASON* GetZEP3Reason(int64_t lIndex);

/* Measurements by number, from 0; null behind the last. */
ZEP3_API const ZEP3_EVIDENCE_ITEM* GetZEP3EvidenceItem(int64_t lIndex);

/*
 * The numbers of a measurement. `values` takes lCount of them, ZEP3_EVIDENCE_COUNT_MAX at most. Returns how many; 0
 * with nothing written when a pointer is null, the name is unknown, or the analysis that decided does not measure it.
 */
ZEP3_API int64_t GetZEP3Evidence(const ZEP3_EVIDENCE* evidence, const char* pName, double* values);

/* The way back, for evidences that were written down. lAnalysis must be set. Returns as GetZEP3Evidence. */
ZEP3_API int64_t SetZEP3Evidence(ZEP3_EVIDENCE* evidence, const char* pName, const double* values);

/*
 * Says in a sentence why a call would be refused with these arguments, or give nonsense; before the call or after it.
 * Null when nothing is found to be wrong. Reads records and tone records, no pixels.
 *
 * lCall           ZEP3_CALL_...: the calls that are asked about.
 * bmp             for ZEP3_CALL_TABLES unread.
 * para            for ZEP3_CALL_APPLY unread.
 * pdColorMatrix   nine doubles, or null; read for ZEP3_CALL_ANALYSE, ZEP3_CALL_TABLES and ZEP3_CALL_FINISH.
 *
 * Refused is what makes the call return 0. Nonsense is what the call takes and makes tables of that nobody wants: a
 * display gamma that is not above 0, an unknown kind, a point beyond the scale, a tone curve of one point and the like.
 */
ZEP3_API const char* CheckZEP3(int64_t lCall, const ZEP3_BmpInfo* bmp, const ZEP3_PARA* para,
                               const double* pdColorMatrix);

/* ---- analysis --------------------------------------------------------------------------------------------------- */

/*
 * Analyses the image and writes the proposed correction into the record.
 *
 * bmp            the pre-scan; null counts as a refused image.
 * para           in and out; null, or a null pOutMasterTone or pOutRGBTone, gives 0 with nothing written.
 * pdColorMatrix  3x3 colour matrix, nine doubles, row-major, element [row][col] at 3 * row + col. Needed for colour
 *                negatives outside restoration, otherwise unread and may be null. Its diagonal tells the density
 *                contrasts of the film's channels; 1, 1, 1 (to four decimals) stands for the built-in ones, and so does
 *                what is not finite or has no sum above 0, but for all channels alike.
 *
 * Returns 1 when the record holds a usable correction, 0 otherwise. Written on success: ic.ch (points and gammas), both
 * curve types, lSaturation, lLevelFlag, and the tone records at pOutMasterTone and pOutRGBTone (count and points in
 * use). An image whose levels are unusable (blank, clipped) is no failure: fixed default points are written; likewise
 * for a document type outside 0..3, which takes the defaults of negatives. A reflective original with an unknown
 * sub-mode, and default points in sub-modes 2 and 4, leave the caller's points, converted to the display gamma as they
 * stand.
 *
 * Returns 0 when the image is refused (null, lBitCount not 24, corners out of order, a vertical edge of a rotated
 * area, no pixel inside the area, a large area of less than about two blocks' width or height, null pixels, lines that
 * overlap because lBytesPerLine is shorter than what is read of a line, or reach beyond the address space) and when a
 * colour matrix is needed and missing. lLevelFlag is then 0 and the tone records are identity; the rest of the record
 * may be partly written.
 */
ZEP3_API int ZEP3(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix);

/*
 * The same with an adaptive analysis. It decides from colours that occur together instead of channel by channel, and
 * knows photos, slides, colour and monochrome negatives, unfaded and faded. Arguments, result and the fields that are
 * written are those of ZEP3. Other values come out in the points, gammas and curve types, for faded prints and slides
 * also in lSaturation, for monochrome negatives also in the master curve. Every call that takes a record takes this
 * one.
 *
 * evidence  out: why, zeroed first; null: not wanted.
 *
 * The record holds the points of ZEP3, and the evidence the reason, for documents, for wDocOption ZEP3_OPTION_PLAIN,
 * for images that hold too little to decide from, and for images with unusable levels. There are two exceptions to the
 * last: a picture within a holder, clear film or bare light that alone makes the levels unusable, and a monochrome
 * picture that one channel shows. Both are analysed; they get neither a master curve nor the backlight correction,
 * because those look at all of the scan.
 *
 * The result is held against the scan (JudgeZEP3, without the user's values). Where a check fails, the correction is
 * weakened toward that of ZEP3 and toward the scan until it holds: the record then holds points in between, and the
 * evidence ZEP3_REASON_WEAKENED.
 *
 * lCorrectLevel: prints and slides need e times as much evidence for each level below 4 before anything is moved, and
 * less for each level above, up to 8. The print of a negative is 3 % softer for each level below 4. Above level 4 a
 * master curve is proposed for all negatives.
 */
ZEP3_API int ZEP3Adaptive(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix, ZEP3_EVIDENCE* evidence);

/*
 * Holds a correction against the scan that it is for: what the record's tables, with the user's values and the
 * saturation, make of the picture. ZEP3Adaptive and FinishZEP3 have done so for what they propose; this is for the
 * points of ZEP3, and for records that have been changed since.
 *
 * bmp            the pre-scan, as for the analysis.
 * para           a completed record; read only.
 * pdColorMatrix  as for MakeZEP3LUTEx.
 * evidence       in: of the analysis of the same image, whose window is taken, or zeros for the points of ZEP3. Out:
 *                lVerdict, and the reasons ZEP3_REASON_DEFAULTS, ZEP3_REASON_TOO_LITTLE, ZEP3_REASON_CLIPPING to
 *                ZEP3_REASON_LOOKS_POSITIVE and ZEP3_REASON_UNSURE.
 *
 * Checked are: new clipping, faint marks that are lost, a result that is nearly black or white, a cast that grew, and
 * whether the scan can be of the kind at all. ZEP3_VERDICT_FAILED: the levels are unusable (blank, clipped), so that
 * the points are default points. ZEP3_VERDICT_LOOK: a check failed, there is too little to decide from, or an adaptive
 * analysis has a confidence below 0.5.
 *
 * Returns 1; 0 with nothing written when a pointer but the matrix is null, the image is refused, or memory is short.
 */
ZEP3_API int JudgeZEP3(const ZEP3_BmpInfo* bmp, const ZEP3_PARA* para, const double* pdColorMatrix,
                       ZEP3_EVIDENCE* evidence);

/*
 * How many cells the surface of a page has at most, of a pre-scan of this size. 0 for sides below 1.
 */
ZEP3_API int64_t GetZEP3SurfaceRoom(int64_t lWidth, int64_t lHeight);

/*
 * The adaptive analysis of a page, with its paper as a surface. It finds the paper, what its strokes are like, and what
 * lies on it: pictures, boxes, stamps and marker keep their colours. ZEP3_SUB_DOCUMENT keeps the colour of a coloured
 * sheet, evenly; ZEP3_SUB_BACKGROUND_REMOVAL makes the paper white; ZEP3_SUB_GROUND_COLOR_REMOVAL takes the sheet's
 * colour out of everything.
 *
 * bmp, para, evidence  as for ZEP3Adaptive, which gives the same record without the surface: what can be done for the
 *                      page with tables alone. Other kinds than documents are refused.
 * detail               null: not known.
 * surface              in: lScanGamma, lWidth and lHeight of the scan, lSide: pixels of the scan to one of the
 *                      pre-scan; pCells and lRoom. Out: all of it. With ZEP3_SURFACE_NONE no cell is written.
 *
 * Where no paper is found (ZEP3_REASON_NO_PAPER), a picture fills the page: the record is a photo's then, and the
 * surface ZEP3_SURFACE_NONE. So it is where evening would wash something out (ZEP3_REASON_CLIPPING and
 * ZEP3_REASON_WEAKENED): then the record's tables are what is left to do.
 *
 * Returns as ZEP3Adaptive, and 0 when there is no room.
 */
ZEP3_API int ZEP3Page(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, const ZEP3_DETAIL* detail, ZEP3_SURFACE* surface,
                      ZEP3_EVIDENCE* evidence);

/* ---- rolls and boxes --------------------------------------------------------------------------------------------
 *
 * The frames of a roll of film share the film, its development and age and the scanner's setting; faded prints and
 * slides of a box share what time did to them. Three steps estimate that together and leave each picture its light and
 * exposure: ObserveZEP3 for every scan, in any order and by any number of threads; SolveZEP3Shared once; ZEP3Shared for
 * every scan. docs/rolls.md has the method, what it is worth, and an example.
 *
 * Served are colour and monochrome negatives, unfaded and faded, and faded prints and slides. The scans must have been
 * made with one setting of the scanner.
 */

/*
 * Writes down what a scan says of its roll or box.
 *
 * bmp            the pre-scan, as for ZEP3Adaptive.
 * para           read only: kind of original and wDocOption.
 * pdColorMatrix  as for ZEP3Adaptive, the same for all scans; read for unfaded colour negatives; null: the film's own
 *                contrasts.
 * seen           out.
 *
 * Returns 1, also for a blank scan. Returns 0 with nothing written when a pointer is null, the image is refused, memory
 * is short, or the kind or option is not served.
 */
ZEP3_API int ObserveZEP3(const ZEP3_BmpInfo* bmp, const ZEP3_PARA* para, const double* pdColorMatrix,
                         ZEP3_OBSERVATION* seen);

/*
 * Estimates what the scans share, and which of them belong.
 *
 * seen    lCount observations, in any order: the result is the same to the last bit. Those that hold a number that no
 *         scan has, or none, are left out.
 * shared  out.
 * member  lCount numbers out, ZEP3_MEMBER_...
 *
 * Returns 1. Returns 0 with nothing written when a pointer is null, the observations are of several kinds or colour
 * matrices, and when too few belong to say anything that is better than each by itself: at least 2 colour negatives, 4
 * others. Then ZEP3Adaptive is the call for each. Takes time in proportion to lCount: 36 frames some 10 ms.
 */
ZEP3_API int SolveZEP3Shared(const ZEP3_OBSERVATION* seen, int64_t lCount, ZEP3_SHARED* shared, int64_t* member);

/*
 * Analyses a scan as ZEP3Adaptive does, with what it shares with others.
 *
 * shared  of SolveZEP3Shared; read only. The scan may be one of those, or another of the same film or box.
 *
 * Arguments, results, checks and evidence otherwise are those of ZEP3Adaptive. Whether the scan belongs is judged from
 * the scan itself, as SolveZEP3Shared does, and told in the evidence: ZEP3_REASON_SHARED, ZEP3_REASON_ODD (then the
 * points are those of ZEP3Adaptive), ZEP3_REASON_BLANK (a blank frame of film is printed as the roll's others would
 * be, black or white, and nothing is stretched).
 *
 * Returns as ZEP3Adaptive; 0 with nothing written, too, when `shared` is null, of another kind than the record, or
 * holds numbers that SolveZEP3Shared cannot have written.
 */
ZEP3_API int ZEP3Shared(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix, const ZEP3_SHARED* shared,
                        ZEP3_EVIDENCE* evidence);

/* Stores the version, 3 and 9. Returns 1; 0 with nothing written when a pointer is null. */
ZEP3_API int GetZEP3Version(int64_t* plMajor, int64_t* plMinor);

/*
 * Converts one 16-bit level from the engine's gamma of 1.8 to the display gamma, as ZEP3 converts input points: for the
 * negative types the result is also inverted. Reads wDocType and lScreenGamma. With x = lValue / 257 / 255 and
 * e = 1.8 / (lScreenGamma / 10) it is 65535 * x^e, for negatives 257 * (255 - 255 * x^e), truncated toward zero.
 * Null record: 0.
 */
ZEP3_API int64_t ValueOfScreenGammaConv(int64_t lValue, ZEP3_PARA* para);

/* ---- tables ----------------------------------------------------------------------------------------------------- */

/*
 * Builds the three tables of a completed record.
 *
 * para   read; written: points and gamma of channels that are not set, by the defaults of the kind of original (which
 *        ignore brightness, balance and contrast), and with them both curve types; automatic curve types, resolved;
 *        lSaturation = 0.
 * table  768 bytes of the caller's: red at 0, green at 256, blue at 512; byte i is the display level for linear level
 * i. Untouched on failure.
 *
 * Returns 1; 0 with nothing written when a pointer is null. Same as MakeZEP3LUTEx without a matrix.
 */
ZEP3_API int MakeZEP3LUT(ZEP3_PARA* para, uint8_t* table);

/*
 * The same with a colour matrix (nine doubles, row-major), of which the diagonal is read, for colour negatives only: it
 * scales brightness and colour balance per channel. A diagonal that is 1, 1, 1 to four decimals stands for the built-in
 * gains 0.807, 0.97, 1.009 of film; without a matrix (null) the gains are 1.
 */
ZEP3_API int MakeZEP3LUTEx(ZEP3_PARA* para, double* pdColorMatrix, uint8_t* table);

/*
 * The same for scans of 16 bits: the curves of MakeZEP3LUTEx at 65536 levels.
 *
 * table  3 * 65536 entries of the caller's, red, green, blue; entry i is the 16-bit display level for the 16-bit linear
 *        level i, so the curve at level i / 257. Entry 257 * v is 257 times what MakeZEP3LUTEx rounds to byte v, here
 *        rounded to 16 bits; what lies outside 0..65535, which only user curves can give, is held within. Not a number:
 * 0.
 */
ZEP3_API int MakeZEP3LUT16(ZEP3_PARA* para, const double* pdColorMatrix, uint16_t* table);

/*
 * The same at any levels: for scans whose values are no linear levels, whose encoding and correction then make one
 * table without rounding in between.
 *
 * levels   `count` linear levels 0..255, in any order; held within. What is not a number comes out as such.
 * display  3 * count display levels of the caller's, red, green, blue, not rounded. At a whole level what MakeZEP3LUTEx
 *          rounds to its byte; outside 0..255 where user curves are. May overlap with the levels, which are then read
 *          first.
 *
 * Returns 1; 0 with nothing written when a pointer is null or count is negative.
 */
ZEP3_API int MakeZEP3LUTAt(ZEP3_PARA* para, const double* pdColorMatrix, const double* levels, int64_t count,
                           double* display);

/*
 * The tables of a completed record for a scan's own values: their conversion to linear levels, the curves of
 * MakeZEP3LUTAt and rounding in one, without rounding in between.
 *
 * lScanGamma  of the scan's values, tenths, above 0, or ZEP3_GAMMA_SRGB_CURVE.
 * lEntries    of a table: 256 for samples of 8 bits, 65536 for 16; from 2 to 65536.
 * table       3 * lEntries of the caller's, red, green, blue; entry i is the 16-bit display level for the scan's value
 * i. Over 257 and rounded it is the 8-bit one. Held within 0..65535; not a number: 0.
 *
 * Returns 1; 0 with nothing written when a pointer is null or a number outside of its range.
 */
ZEP3_API int MakeZEP3ScanLUT(ZEP3_PARA* para, const double* pdColorMatrix, int64_t lScanGamma, int64_t lEntries,
                             uint16_t* table);

/*
 * Applies three tables to an image of 8-bit samples in place. A gray image takes the green table: where the channels
 * differ, green is the nearest to what the eye calls gray.
 *
 * bmp    pixels, size, stride and pixel format, any ZEP3_PIXEL_...; lBitCount ZEP3_BITS_8; the area is ignored. Samples
 *        X and A are left as they are.
 * table  768 bytes, as MakeZEP3LUT gives them.
 *
 * Returns 1, also for an image without pixels. Returns 0 with nothing written when a pointer is null, for another
 * lBitCount, when a side is negative or above 2147483647, or lines overlap or reach beyond the address space. The same
 * bytes on every processor; those with permutes of 256 bytes (AVX-512 VBMI) take several times less time.
 */
ZEP3_API int ApplyZEP3LUT(const ZEP3_BmpInfo* bmp, const uint8_t* table);

/*
 * The same for samples of 16 bits: lBitCount ZEP3_BITS_16, table 3 * 65536 entries as MakeZEP3LUT16 or MakeZEP3ScanLUT
 * gives them. pBits and lBytesPerLine that are odd are
 * refused.
 */
ZEP3_API int ApplyZEP3LUT16(const ZEP3_BmpInfo* bmp, const uint16_t* table);

/*
 * By what the saturation that an analysis proposed scales the chroma of the result: 1 + 0.005 * lSaturation, at least
 * 0, and 0 for monochrome negatives, whose colour is the film's and the scanner's; 1: not at all. The share of 0.005
 * was measured on simulated fading and backlight: whole percents cost faded originals twice as much in colour
 * difference, and win backlit ones less than twice. To be asked before the tables are built, which sets lSaturation to
 * 0. Null: 1.
 */
ZEP3_API double GetZEP3Chroma(const ZEP3_PARA* para);

/*
 * Applies the tables of MakeZEP3ScanLUT and a saturation in one step, in place, so that the tables' rounding is not
 * stretched. On the 16-bit values R, G, B that the tables give, with the gray g = (R + 3 G + B) / 5, each channel
 * becomes g + dChroma * (channel - g), in single precision, held within the scale and rounded to the image's depth.
 * Gray images have no chroma: tables alone.
 *
 * bmp      as for ApplyZEP3LUT, 8 or 16 bits.
 * table    of 3 * 256 entries for 8 bits, of 3 * 65536 for 16.
 * dChroma  of GetZEP3Chroma; 1: tables alone. Held within 0..1000; not a number is refused.
 *
 * Returns as ApplyZEP3LUT.
 */
ZEP3_API int ApplyZEP3ScanLUT(const ZEP3_BmpInfo* bmp, const uint16_t* table, double dChroma);

/*
 * The tables of a completed record for a page with a surface.
 *
 * lEntries  of a table: ZEP3_PAGE_ENTRIES_8 or ZEP3_PAGE_ENTRIES_16, for samples of 8 or 16 bits.
 * table     7 * lEntries of the caller's: red, green, blue for strokes; red, green, blue for pictures; and how far a
 *           pixel is taken to white. Entry i belongs to n = 1.6 * i / (lEntries - 1).
 *
 * Returns 1; 0 with nothing written when a pointer is null, lEntries is another number, the surface holds
 * ZEP3_SURFACE_NONE or memory is short.
 */
ZEP3_API int MakeZEP3PageLUT(const ZEP3_PARA* para, const ZEP3_SURFACE* surface, int64_t lEntries, uint16_t* table);

/*
 * Evens a piece of a scan by its surface and sends it through the tables, in place, with one rounding.
 *
 * piece   pixels of the scan, as for ApplyZEP3LUT, 8 or 16 bits; all of it, a line, any part.
 * lX, lY  where its first pixel lies in the scan.
 * table   of MakeZEP3PageLUT, of ZEP3_PAGE_ENTRIES_8 entries for 8 bits, ZEP3_PAGE_ENTRIES_16 for 16.
 *
 * Returns as ApplyZEP3ScanLUT; 0 also for a surface without cells or with numbers out of range, and when memory is
 * short. Lines are independent of each other: any pieces, in any order, by any number of threads give the same bytes.
 */
ZEP3_API int ApplyZEP3Page(const ZEP3_BmpInfo* piece, int64_t lX, int64_t lY, const ZEP3_SURFACE* surface,
                           const uint16_t* table);

/*
 * Makes one gray channel of an image's colours: their luma, (13933 R + 46871 G + 4732 B) / 65536, rounded, which are
 * the weights of sRGB (0.2126, 0.7152, 0.0722) on the image's own values. It is what readers of text want: they take a
 * coloured pixel for ink as soon as one channel is dark.
 *
 * image  read; as for ApplyZEP3LUT, 8 or 16 bits.
 * gray   written: its pixels, of the same size and depth, ZEP3_PIXEL_GRAY or ZEP3_PIXEL_GRAYA, whose A is the image's
 * A, or full where it has none. Must not overlap with the image.
 *
 * Returns 1, also for images without pixels. Returns 0 with nothing written when a pointer is null, the sizes or depths
 * differ, gray has another pixel format, or an image is refused as ApplyZEP3LUT refuses it.
 */
ZEP3_API int MakeZEP3Gray(const ZEP3_BmpInfo* image, const ZEP3_BmpInfo* gray);

/*
 * Converts a colour matrix through the correction of a completed record, its brightness, balance and contrast included:
 * off-diagonal entries shrink by the factors of the two channels they mix (the smallest slope over the channel's own,
 * in light), diagonal entries are set so that each row sums to 1. The diagonal of the input is read for colour
 * negatives, as gains. A channel without a slope (equal points) has the factor 1.
 *
 * in, out   nine doubles each, row-major, may be the same. The record is read only.
 * Returns 1; 0 with nothing written when a pointer is null.
 */
ZEP3_API int ColorMatrixConv(ZEP3_PARA* para, double* in, double* out);

/* ---- pipettes --------------------------------------------------------------------------------------------------- */

/*
 * Gray balance: moves the input points of each channel so that the picked colour comes out as a common gray (red and
 * blue counted once, green three times). Writes lHlIn and lSdIn of every channel and, where a highlight would leave the
 * scale on an original that is not a negative, lHlOut. The record must hold a completed analysis. A pick so dark that a
 * channel's curve never gives the common gray has no answer there: that channel's input points become -2147483648, so
 * keep a copy of the record.
 * Returns 1; 0 with nothing written when the record is null.
 */
ZEP3_API int GetGrayBalance(ZEP3_PARA* para, ZEP3_GrayBalance gb);

/*
 * Pipette gamma: sets the three gammas so that the picked colour (three display levels, red, green, blue; of a negative
 * what the inverted scan shows) comes out gray. Writes lGamma of every channel, or nothing when the colour does not lie
 * strictly inside every channel's range, or when it or the common gray would come out at or below a channel's shadow
 * output: that too returns 1. The record must hold a completed analysis. Returns 0 with nothing written when a pointer
 * is null.
 */
ZEP3_API int GetGamma(int64_t* plColor, ZEP3_PARA* para);

/*
 * Palette adjustment: moves the input points of each channel so that the displayed colour plSource becomes plTarget.
 *
 * para           a completed analysis, with both user curve pointers set. Written: lHlIn and lSdIn of each channel that
 *                moves and, where a highlight would leave the scale on an original that is not a negative, lHlOut.
 *                Brightness, contrast, colour balance and user curves count and stay.
 * plSource,      three display levels each, red, green, blue, held within 0..255: colours as they show behind the
 * plTarget       tables and the colour matrix. Equal colours: 1, nothing moves. A target beyond what a table gives
 *                counts as the table's end.
 * pdNegaCoef     nine doubles, row-major, or null: the matrix of MakeZEP3LUTEx, for colour negatives only.
 * pdColorMatrix  nine doubles, row-major, or null: the colour matrix applied behind the tables.
 *
 * One call shifts a channel by a density of at most 0.6 (two stops), for colour negatives times the channel's gain;
 * another call goes on from there. The target is met within a display level, in steep shadows within a few; less well
 * where that limit or the end of the scale holds a point back, where a highlight reaches the end while brightness or
 * contrast is set, and beyond points with a hard clip.
 *
 * Returns 1 when the points moved. Returns 0 with nothing written when a record, colour or user curve pointer is null;
 * for a document type outside 0..3; when lScreenGamma is not above 0, or a point or gamma is not set or outside
 * 0..65535; for a matrix with a determinant below 0.01 or not a number; when the source lies where no scan level shows
 * it; when a curve does not run from one end to the other (user curves that fall or are level, equal points or
 * outputs); for a colour negative's gain not above 0; and when a shadow point would not stay below its highlight point.
 */
ZEP3_API int AdjustSpecifiedColor(ZEP3_PARA* para, const int64_t* plSource, const int64_t* plTarget,
                                  const double* pdNegaCoef, const double* pdColorMatrix);

/* ---- a finished picture in one call ----------------------------------------------------------------------------- */

/*
 * How many pixels of a scan, each way, make one of the pre-scan on which FinishZEP3 decides: the longer side comes to
 * 1250 pixels at most. 1 for sides that are 1250 or less, or below 1.
 */
ZEP3_API int64_t GetZEP3PrescanShrink(int64_t lWidth, int64_t lHeight);

/*
 * How an analysis takes a scan's values: lScanGamma, but ZEP3_GAMMA_SRGB_CURVE only for pictures and film by the
 * adaptive analysis, which thinks in densities and displays of sRGB. For pages, whose light is evened by powers, and
 * for the standard analysis, whose displays have a plain gamma, it is ZEP3_GAMMA_SRGB. Where ZEP3Adaptive says that the
 * standard analysis decided (lAnalysis), analyse once more with ZEP3_GAMMA_SRGB.
 *
 * lAdaptive  1: ZEP3Adaptive, ObserveZEP3 and ZEP3Shared; 0: ZEP3; ZEP3_UNSET: as is best for the kind.
 * para       its kind and option; null: as for the standard analysis.
 */
ZEP3_API int64_t GetZEP3ScanGamma(int64_t lScanGamma, int64_t lAdaptive, const ZEP3_PARA* para);

/*
 * Makes a pre-scan: means of lShrink x lShrink pixels in the scan's own values, rounded, at the right and lower edge of
 * what there is; then linear levels, rounded. A gray scan becomes three equal channels.
 *
 * scan        any ZEP3_PIXEL_... and ZEP3_BITS_...
 * lScanGamma  of the scan's values, tenths, above 0, or ZEP3_GAMMA_SRGB_CURVE.
 * lShrink     from 1.
 * prescan     out; its pBits are the caller's buffer of 3 * width * height bytes, where width and height are the scan's
 *             over lShrink, rounded up. All other fields are written: R G B, line by line, and the analysis area, which
 *             is the scan's area, each coordinate over lShrink and rounded, or all of the pre-scan for all of the scan.
 *
 * Returns 1. Returns 0 with nothing written when a pointer is null, a number outside of its range, a side of the scan
 * below 1 or above 2147483647, for another lBitCount, when lines overlap or reach beyond the address space, and when
 * memory is short.
 */
ZEP3_API int MakeZEP3Prescan(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lShrink, ZEP3_BmpInfo* prescan);

/*
 * The same with what the means hide, for ZEP3Page. lScanGamma is above 0.
 *
 * detail  its pointers are the caller's buffers of 3 and 1 bytes for each pixel of the pre-scan.
 */
ZEP3_API int MakeZEP3PagePrescan(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lShrink, ZEP3_BmpInfo* prescan,
                                 const ZEP3_DETAIL* detail);

/*
 * Finishes a scan in place: pre-scan, analysis, the scan's own tables, saturation. It is what the program zep3 does.
 *
 * scan           pixels in any ZEP3_PIXEL_... and ZEP3_BITS_...; read and written. The area is the analysis area.
 * lScanGamma     of the scan's values, tenths, or ZEP3_GAMMA_SRGB_CURVE, which GetZEP3ScanGamma chooses for. The result
 *                has the gamma of para->lScreenGamma: give both the same, or 22 for sRGB, to keep the encoding.
 * lAdaptive      1: by ZEP3Adaptive; 0: by ZEP3; ZEP3_UNSET: as is best for the kind.
 * para           in: kind, strength, display gamma and the user's values, on top of ResetZEP3. User tone curves belong
 *                in tone records apart from the proposed ones, which the analysis resets. Out: as after the analysis,
 *                the proposed saturation still in it.
 * pdColorMatrix  nine doubles, or null: the film's own contrasts, no gains.
 * evidence       out, as of ZEP3Adaptive; null: not wanted. Places are given in pixels of the scan.
 *
 * Returns 1. Returns 0 when the scan or the record is refused (see CheckZEP3), with the pixels as they were, or when
 * memory is short; then, too, no pixel has changed.
 */
ZEP3_API int FinishZEP3(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lAdaptive, ZEP3_PARA* para,
                        double* pdColorMatrix, ZEP3_EVIDENCE* evidence);

#ifdef __cplusplus
}
#endif

#endif /* ZEP3_H */
