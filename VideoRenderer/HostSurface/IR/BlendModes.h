/*
 * Blend modes: how the colour of a source meets that of the backdrop that it is laid on.
 *
 * The numbers are written into documents and mixed into hashes: none is ever changed or used again, new ones
 * are added at the end.
 *
 * Cb is the backdrop's colour, Cs the source's, both straight (not premultiplied) and in the target's coding;
 * ab and as are their alphas, as after opacity and coverage. The mode gives B(Cb, Cs), and the pixel becomes
 *
 *   ao      = as + ab (1 - as)
 *   ao * Co = as (1 - ab) Cs + as ab B(Cb, Cs) + (1 - as) ab Cb
 *
 * so that where there is no backdrop every mode shows the source, and where there is no source the backdrop
 * stays. YUV colours are brought to RGB for every mode but normal and dissolve.
 *
 * Separable modes take R, G and B one by one; the others take the colour as a whole, with
 *
 *   Lum(C) = 0.3 R + 0.59 G + 0.11 B
 *   Sat(C) = max(R, G, B) - min(R, G, B)
 *   SetLum(C, l): C + (l - Lum(C)), then drawn towards l until no component lies outside 0..1
 *   SetSat(C, s): C stretched so that its least component is 0 and its greatest is s; a grey becomes 0
 *
 * Values. Integer pictures limit B to 0..1. Float pictures may hold more: linearDodge and linearLight keep
 * what is above 1. colorBurn, colorDodge, color, divide, hardMix, hue, luminosity, saturation, softLight and
 * vividLight have no meaning outside 0..1, so they take Cb and Cs limited to it; the other modes take them as
 * they are. Where a formula jumps (colorBurn, colorDodge, divide, hardMix, vividLight, the order of two Lum, the
 * question whether a colour is grey), differences below 2^-18 count as none, because rounding makes them.
 *
 * Sources: W = W3C Compositing and Blending Level 1, where each formula stands under the mode's name. The
 * others are the customary ones of image editors, written here in the same terms.
 */
#ifndef IR_BLEND_MODES_H
#define IR_BLEND_MODES_H

enum
{
    /* SetLum(Cs, Lum(Cb)). Hue and saturation of the source. W, non-separable. */
    kIR_Blend_Color = 0,

    /* 1 if Cb = 1; 0 if Cs = 0; 1 - min(1, (1 - Cb) / Cs). W. */
    kIR_Blend_ColorBurn = 1,

    /* 0 if Cb = 0; 1 if Cs = 1; min(1, Cb / (1 - Cs)). W. */
    kIR_Blend_ColorDodge = 2,

    /* min(Cb, Cs). W. */
    kIR_Blend_Darken = 3,

    /* Cs if Lum(Cs) < Lum(Cb), otherwise Cb. Customary: darken that never mixes components. */
    kIR_Blend_DarkerColor = 4,

    /* |Cb - Cs|. W. */
    kIR_Blend_Difference = 5,

    /*
     * Each pixel shows the source alone, opaque, or the backdrop alone: the source where as is above a
     * threshold that depends on nothing but the pixel's place in the target (see DissolveThreshold in the
     * source of the modes). The thresholds are spread evenly over 0..1, so that the share of pixels that
     * show the source is as. Customary.
     */
    kIR_Blend_Dissolve = 6,

    /* Cb + Cs - 2 Cb Cs. W. */
    kIR_Blend_Exclusion = 7,

    /* 2 Cb Cs if Cs <= 1/2; otherwise screen(Cb, 2 Cs - 1). W. */
    kIR_Blend_HardLight = 8,

    /* 0 if Cb + Cs < 1, otherwise 1. Customary: vivid light at its two ends. */
    kIR_Blend_HardMix = 9,

    /* SetLum(SetSat(Cs, Sat(Cb)), Lum(Cb)). Hue of the source. W, non-separable. */
    kIR_Blend_Hue = 10,

    /* max(Cb, Cs). W. */
    kIR_Blend_Lighten = 11,

    /* Cs if Lum(Cs) > Lum(Cb), otherwise Cb. Customary: lighten that never mixes components. */
    kIR_Blend_LighterColor = 12,

    /* max(0, Cb + Cs - 1). Customary. */
    kIR_Blend_LinearBurn = 13,

    /* Cb + Cs. Customary; also called add. */
    kIR_Blend_LinearDodge = 14,

    /* max(0, Cb + 2 Cs - 1): linear burn with 2 Cs below the middle, linear dodge above. Customary. */
    kIR_Blend_LinearLight = 15,

    /* SetLum(Cb, Lum(Cs)). Brightness of the source. W, non-separable. */
    kIR_Blend_Luminosity = 16,

    /* Cb Cs. W. */
    kIR_Blend_Multiply = 17,

    /* Cs. W. */
    kIR_Blend_Normal = 18,

    /* hardLight with Cb and Cs in each other's place. W. */
    kIR_Blend_Overlay = 19,

    /* min(Cb, 2 Cs) if Cs <= 1/2; otherwise max(Cb, 2 Cs - 1). Customary. */
    kIR_Blend_PinLight = 20,

    /* SetLum(SetSat(Cb, Sat(Cs)), Lum(Cb)). Saturation of the source. W, non-separable. */
    kIR_Blend_Saturation = 21,

    /* Cb + Cs - Cb Cs. W. */
    kIR_Blend_Screen = 22,

    /*
     * Cb - (1 - 2 Cs) Cb (1 - Cb) if Cs <= 1/2; otherwise Cb + (2 Cs - 1) (D(Cb) - Cb), where D(x) is
     * ((16 x - 12) x + 4) x up to x = 1/4 and the square root of x from there. W.
     */
    kIR_Blend_SoftLight = 23,

    /* colorBurn(Cb, 2 Cs) if Cs <= 1/2; otherwise colorDodge(Cb, 2 Cs - 1). Customary. */
    kIR_Blend_VividLight = 24,

    /* max(0, Cb - Cs). Customary. */
    kIR_Blend_Subtract = 25,

    /* 1 if Cs = 0; min(1, Cb / Cs). Customary. */
    kIR_Blend_Divide = 26,

    kIR_Blend_Count = 27 /* the modes there are; not one of them */
};

#endif
