/*
 * zep3.h: automatic exposure and colour correction of scanned images.
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
 * not. No call prints, logs or throws. Every call returns 1 or 0 (ValueOfScreenGammaConv returns its value). The
 * caller's floating-point environment (rounding, traps, flags) is neither felt nor changed.
 *
 * For every value of every field and argument each call returns, reads only the records, tone records and pixels that
 * it is given, and writes only what is documented. A null for a required pointer, and a lack of memory, give 0 with
 * nothing written, but that ZEP3 may have written a part when memory runs out. What lies outside a field's range is
 * defined: a conversion whose result is not a number, or lies outside 32 bits, yields -2147483648; a table entry that
 * is not a number, or lies outside 32 bits, yields 0, and one outside 0..255 its low 8 bits. The engine cannot know how
 * long the pixel buffer is: width, height, stride and pixel format must describe memory that exists.
 *
 * Plain C99, also C++. The records are binary interface: little-endian, 8-byte alignment, 64-bit pointers.
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

/* ZEP3_BmpInfo::wPixelFormat, the bytes of a pixel. Any other value is read as ZEP3_PIXEL_BGR. */
enum { ZEP3_PIXEL_RGB = 0, ZEP3_PIXEL_BGR = 1, ZEP3_PIXEL_XRGB = 2 };

/* A point field that is not set. A channel with one of its five fields unset counts as unset as a whole. */
enum { ZEP3_UNSET = -1 };

/* Room for control points in a tone curve. */
enum { ZEP3_TONE_POINTS = 16 };

/* ZEP3_EVIDENCE::lAnalysis, whose points the record holds. */
enum {
  ZEP3_ANALYSIS_STANDARD = 0, /* those of ZEP3 */
  ZEP3_ANALYSIS_POSITIVE = 1, /* adaptive, prints and slides */
  ZEP3_ANALYSIS_NEGATIVE = 2  /* adaptive, negatives */
};

/* ZEP3_EVIDENCE::lReasons, a sum of these. */
enum {
  /* Why the record holds the points of ZEP3. */
  ZEP3_REASON_NOT_ADAPTIVE = 1 << 0, /* this kind of original, or the plain handling, has no adaptive analysis */
  ZEP3_REASON_DEFAULTS = 1 << 1,     /* levels are unusable (blank, clipped): default points */
  ZEP3_REASON_TOO_LITTLE = 1 << 2,   /* too few blocks, or hardly any contrast, to decide from */

  /* What the adaptive analysis met. */
  ZEP3_REASON_BORDER_REMOVED = 1 << 3, /* mount, holder, clear film or open light around the picture left out */
  ZEP3_REASON_SOUND = 1 << 4,          /* looks sound: left nearly as it is (trust below 0.3) */
  ZEP3_REASON_UNCERTAIN = 1 << 5,      /* followed in part (trust 0.3 to 0.7) */
  ZEP3_REASON_NO_WHITE = 1 << 6,       /* the brightest thing is no white */
  ZEP3_REASON_NO_BLACK = 1 << 7,       /* no black in the scene: contrast not stretched to one */
  ZEP3_REASON_COLOURED_WHITE = 1 << 8, /* the lightest parts are coloured and were outvoted */
  ZEP3_REASON_COLOURED_BLACK = 1 << 9, /* the darkest parts are */
  ZEP3_REASON_ONE_COLOUR = 1 << 10,    /* one colour dominates: balance rests on what is usual */
  ZEP3_REASON_STRONG_FADING = 1 << 11, /* less than 55 % of a dye is left */
  ZEP3_REASON_STAIN = 1 << 12,         /* yellow stain or cast removed */
  ZEP3_REASON_MEASURED_BASE = 1 << 13, /* the film's base was measured at its clear border */
  ZEP3_REASON_INCANDESCENT = 1 << 14,  /* incandescent light removed, sound film */
  ZEP3_REASON_FLAT = 1 << 15,          /* flat or thin negative */
  ZEP3_REASON_BRIGHTNESS = 1 << 16,    /* unusually dark or light picture, brought back in part */
  ZEP3_REASON_UNEVEN_FADING = 1 << 17  /* one dye of the negative lost more than the others */
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
  uint8_t* pBits;        /* linear levels; first byte of the first line. Only ApplyZEP3LUT writes. Not owned. */
  int64_t lWidth;        /* pixels per line */
  int64_t lHeight;       /* lines */
  int64_t lBytesPerLine; /* bytes from a line to the next; negative for images stored bottom-up (pBits is then the
                            first byte of the top line, which lies last) */
  int64_t lBitCount;     /* 24, whatever wPixelFormat says; anything else is refused */
  AREA area;             /* analysis area; clipped to the image */
  uint16_t wPixelFormat; /* ZEP3_PIXEL_RGB three bytes R G B, ZEP3_PIXEL_XRGB four bytes with the first unused,
                            anything else three bytes B G R */
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

/* What the adaptive analysis saw in a print or slide. Red, green, blue. 160 bytes. */
typedef struct ZEP3_POSITIVE_EVIDENCE {
  double dTrust;         /* 0..1: how far the proposal was followed; 0: no more than base and flare taken off */
  double dGain;          /* nats: evidence for a correction against none, before what is expected of the kind */
  double dDyeLeft[3];    /* share of the channel's dye that is left; below 1: faded */
  double dOffset[3];     /* density of the clear original: base, stain, exposure, cast */
  double dJointWhite[3]; /* density of the whites after the correction; 0: paper white */
  double dJointBlack[3]; /* density of the blacks after the correction */
  double dWhiteTint;     /* density: largest minus smallest channel of the whites */
  double dBlackTint;     /* the same of the blacks, none counted darker than the material can be */
  double dBlackPile;     /* share 0..1 of the picture at its blacks; above 0.03 they are the material's darkest */
  double dWhiteCost;     /* nats: how badly the whites fit the proposal, were it followed in full */
  double dBlackCost;     /* nats: likewise the blacks */
  double dHistoryCost;   /* nats: likewise how unusual a fading, exposure or cast this is */
} ZEP3_POSITIVE_EVIDENCE;

/* What it saw in a negative. Exposures are log10 of light on the film. 168 bytes. */
typedef struct ZEP3_NEGATIVE_EVIDENCE {
  double dHolder;       /* 0..1: sides with a holder, of four */
  double dBorder;       /* 0..1: sides with clear film or open light, of four */
  double dBaseMeasured; /* 1: the base was measured at a clear border; 0: taken from the picture */
  double dBase[3];      /* linear levels of the clear film; up to 280.5 */
  double dHighlight[2]; /* exposure of the scene's lightest parts, red and blue less green */
  double dPlanck;       /* colour: exposure toward incandescent light; 0.38: tungsten, below 0: shade */
  double dNeutral;      /* colour, 0..1: how far the lightest parts are believed to be white; monochrome: 1 */
  double dSlope[3];     /* density per exposure that the film was found to have */
  double dVotes;        /* colour, 0..1: share of the picture that agrees with the gray axis found */
  double dStain[3];     /* monochrome: density of the channel relative to the common gray's */
  double dRange;        /* exposure range of the picture */
  double dPower;        /* contrast of the print relative to the scene's */
  double dMean;         /* mean exposure of the print less its whites' */
  double dLift;         /* exposure by which an unusually dark or light picture was brought back */
} ZEP3_NEGATIVE_EVIDENCE;

/* Why an adaptive analysis decided as it did. 360 bytes; what does not concern the original is 0. */
typedef struct ZEP3_EVIDENCE {
  int64_t lAnalysis;               /* ZEP3_ANALYSIS_... */
  int64_t lReasons;                /* sum of ZEP3_REASON_... */
  double dConfidence;              /* 0..1; 0 where the points are those of ZEP3 */
  double dTrimmed;                 /* share 0..1 of the area that lies outside of the picture's frame */
  ZEP3_POSITIVE_EVIDENCE positive; /* for ZEP3_ANALYSIS_POSITIVE */
  ZEP3_NEGATIVE_EVIDENCE negative; /* for ZEP3_ANALYSIS_NEGATIVE */
  double dWindow[4][2];
  double dWindowConfidence;
} ZEP3_EVIDENCE;

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
 * The same with an adaptive analysis, which decides from colours that occur together instead of channel by channel:
 * photos, faded prints, slides, faded slides, colour and monochrome negatives and faded ones. What ZEP3 says of its
 * arguments, its results and what is written holds here; only input and output points, gammas, curve types, of faded
 * prints and slides lSaturation, and of monochrome negatives the master curve are others. Everything that takes a
 * record takes this one.
 *
 * evidence  out: why, zeroed first; null: not wanted.
 *
 * The points are those of ZEP3, with the reason in the evidence, for documents, for wDocOption ZEP3_OPTION_PLAIN, where
 * the image holds too little to decide from, and where its levels are unusable; but a picture within a holder, clear
 * film or bare light that makes them so is analysed, as is a monochrome one that one channel shows. These
 * get neither a master curve nor the backlight correction, which would look at all of the scan. lCorrectLevel: for
 * prints and slides each level below 4 asks for more evidence (a factor e) before anything is moved, and each above, up
 * to 8, for less; for negatives each below 4 makes the print softer by 3 %. A master curve is proposed above level 4
 * for monochrome negatives too.
 */
ZEP3_API int ZEP3Adaptive(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix, ZEP3_EVIDENCE* evidence);

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
 *          rounds to its byte; outside 0..255 where user curves are.
 *
 * Returns 1; 0 with nothing written when a pointer is null or count is negative.
 */
ZEP3_API int MakeZEP3LUTAt(ZEP3_PARA* para, const double* pdColorMatrix, const double* levels, int64_t count,
                           double* display);

/*
 * Applies three tables to an image in place.
 *
 * bmp    pixels, size, stride, bit count and pixel format as for ZEP3; the area is ignored. The pixels are written, an
 *        unused byte is not.
 * table  768 bytes, as MakeZEP3LUT gives them.
 *
 * Returns 1, also for an image without pixels. Returns 0 with nothing written when a pointer is null, lBitCount is not
 * 24, a side is negative or above 2147483647, or lines overlap or reach beyond the address space. The same bytes on
 * every processor; those with permutes of 256 bytes (AVX-512 VBMI) take several times less time.
 */
ZEP3_API int ApplyZEP3LUT(const ZEP3_BmpInfo* bmp, const uint8_t* table);

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

#ifdef __cplusplus
}
#endif

#endif /* ZEP3_H */
