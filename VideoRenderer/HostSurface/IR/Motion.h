/*
 * Motion: one picture drawn on another, moved, scaled, turned, faded and blended.
 *
 * Where things lie. The middle of the pixel in column x and row y is at (x + 0.5, y + 0.5); a picture of w by
 * h pixels covers 0..w by 0..h; y counts from the top of the picture downwards, whatever the order of rows in
 * memory. The fractions of position and anchor count to the right and upwards: the anchor is the point
 * (anchorX w, (1 - anchorY) h) of the source, and it comes to lie on the point (positionX W, (1 - positionY)
 * H) of the target. Nothing is fitted: at scale 1 and equal pixel aspects a source pixel is as large as a
 * target pixel.
 *
 * A source point that is (dx, dy) pixels from the anchor is brought to square units as (dx scaleX
 * sourceAspect, dy scaleY), turned by `rotation` degrees clockwise as seen, and becomes target pixels when x
 * is divided by the target's aspect. A negative scale mirrors. A rotation counts modulo 360; quarter turns
 * are exact. Where the source's corner comes to lie is rounded to 1/512 of a target pixel, because fractions
 * in 32-bit float don't tell it any finer and a picture that is meant to lie on whole pixels must not be
 * blurred.
 *
 * Edges. The colour beyond an edge of the source is that of the edge; what is drawn there is multiplied by
 * coverage: the part of the target pixel that the source rectangle covers, taken along the source's two axes
 * and multiplied. The target pixel's width along a source axis is the length of that axis' gradient over the
 * target. So an edge is anti-aliased over one target pixel however large the picture is drawn, and pictures
 * that meet on whole pixels meet without a seam.
 *
 * Alpha. Everything is done on premultiplied colour, in the target's own model and coding: linear formats are
 * filtered and composited in linear light, display-coded ones as they are coded. Source pixels are brought to
 * the target's model and coding first. A source without alpha or with opaque alpha is opaque. Opacity and
 * coverage multiply colour and alpha. The colour of a straight target is divided by the resulting alpha, and
 * where that is 0 the pixel becomes black; a target with opaque alpha reads as alpha 1 and stays opaque. What
 * meets what, and the blend modes, is told in IR/BlendModes.h.
 *
 * Filters. f is the target pixel's width along a source axis in source pixels, at least 1.
 *   quality up to 3, or highQualitySampling 0: the mean over a box of width f. That is bilinear interpolation
 *       where the picture isn't reduced, the exact area average where it is.
 *   4: bicubic (b = 0, c = 0.5), averaged over a box of width f - 1 / f
 *   5 and above: Lanczos of three lobes, averaged in the same way
 * Where f is above 8 every quality is the area average. A picture that is turned by other than half turns is
 * then first averaged over blocks of ceil(f / 8) pixels, counted from the source's first pixel. Where one of
 * quality up to 4 is reduced to half its size or less along an axis, these blocks have at least two pixels,
 * and the filter is the area average. antiFlicker (limited to 0..1) makes the target pixel 1 + antiFlicker
 * lines high for the filter, not for the coverage.
 *   What a filter overshoots is kept, but for turned pictures where source and target are bytes of one model
 * and coding: there it is cut off at the ends of the codes, and colour of a straight RGB source at its alpha.
 *
 * Fields. `field` is kIR_WholePicture, or the field whose rows are drawn; the other rows are not touched.
 * fieldType is 0 progressive, 1 upper field first, 2 lower field first. If source and target are both
 * interlaced, each field of the target (both of them for kIR_WholePicture) shows the source's field of the
 * same moment: the first that of the first, the second that of the second. Such a field is a picture of its
 * own, whose row k lies on row 2k or 2k + 1 of the frame; filter and coverage then count in rows of the
 * field. In every other case the whole source is shown and rows count as rows of the frame.
 *
 * Bytes and words are the same on every processor and within one code of the exact result; those of a
 * straight target that stays transparent within one and a half, counted on colour times alpha.
 *
 * Thread-safety: as IR/ImageRoutines.h.
 */
#ifndef IR_MOTION_H
#define IR_MOTION_H

#include "IR/ImageRoutines.h"

/* clang-format off */
#ifdef __cplusplus
extern "C"
{
#endif

/* Columns left to right - 1, rows top to bottom - 1, from the top left. */
typedef struct IR_Rect
{
    int32_t left, top, right, bottom;
} IR_Rect;

typedef struct IR_MotionPicture
{
    void* pixels;              /* of the source only read */
    int32_t rowBytes;
    int32_t width, height;     /* of the whole picture, also where a field is drawn */
    uint32_t format;           /* four components; the source may be of any known format */
    int32_t fieldType;         /* 0, 1 or 2 */
    uint32_t aspectNumerator;  /* width : height of a pixel, neither 0 */
    uint32_t aspectDenominator;
} IR_MotionPicture;

typedef struct IR_MotionSettings
{
    float positionX, positionY;  /* 0.5, 0.5 is the middle of the target */
    float anchorX, anchorY;      /* 0.5, 0.5 is the middle of the source */
    float scaleX, scaleY;        /* 1 is the size that it has; 0 draws nothing */
    double rotation;             /* degrees clockwise */
    float opacity;               /* limited to 0..1 */
    double antiFlicker;          /* limited to 0..1 */
    int32_t targetHasPicture;    /* 0: the box that is drawn is replaced; 1: laid over the target's picture */
    int32_t field;               /* kIR_WholePicture, kIR_UpperField, kIR_LowerField */
    int32_t quality;
    uint8_t highQualitySampling; /* 0: bilinear at most */
} IR_MotionSettings;

/*
 * Draws inSource on inTarget.
 *
 * ioClip may be null. On entry it is the part of the source, in its pixels, that holds anything. Outside of
 * it a source with alpha must be transparent, which may save the drawing but doesn't alter it; of a source
 * without alpha the part is the picture, with edges of its own. On success it becomes the box of the target
 * outside of which nothing was drawn, 0 0 0 0 if nothing was drawn at all. Of a target without a picture
 * (targetHasPicture 0) only pixels of that box are written: callers hand a cleared one.
 *
 * 0, or kIR_UnknownFormat, kIR_NullPointer, kIR_BadSize as for every routine; kIR_BadArgument for a number
 * that is not finite, an aspect of 0, an unknown field, field type or blend mode, and for pictures that share
 * memory; then nothing is written, the rectangle included. Source and target outside of each other is
 * success.
 */
IR_EXPORT int32_t IR_Motion(
    const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget, IR_Rect* ioClip,
    const IR_MotionSettings* inSettings);

/* The same with one of the modes of IR/BlendModes.h. On a target without a picture every mode is normal. */
IR_EXPORT int32_t IR_MotionWithBlendMode(
    const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget, IR_Rect* ioClip,
    const IR_MotionSettings* inSettings, uint32_t inBlendMode);

#ifdef __cplusplus
}
#endif

#endif
