#pragma once

#include "ReferenceHost/ImageRoutines/Picture.h"

// Colour arithmetic in double: matrices between colour models and the coding of RGB.
//
// A model's components are R, G, B (each 0..1) or Y (0..1), U and V (-0.5..0.5), after the range is taken
// away.
//
// Thread-safety: pure functions; safe.
namespace ir
{

struct Matrix3
{
    double m[3][3];
};

// Whether a matrix turns coded RGB into YUV and back linearly. Constant luminance and ICtCp don't.
bool IsLinearModel(Matrix inMatrix) noexcept;

// For linear models only.
Matrix3 ToRGB(Matrix inMatrix) noexcept;
Matrix3 FromRGB(Matrix inMatrix) noexcept;
Matrix3 BetweenModels(Matrix inFrom, Matrix inTo) noexcept;
Matrix3 Multiply(const Matrix3& inLeft, const Matrix3& inRight) noexcept;
bool IsIdentity(const Matrix3& inMatrix) noexcept;

// The share of R, G and B in the luma of Rec.709, which grey targets get.
inline constexpr double kGrayWeights[3] = {0.2126, 0.7152, 0.0722};

// The Rec.709 camera curve and its inverse, odd about 0.
inline constexpr double kCurveAlpha = 1.09929682680944;
inline constexpr double kCurveBeta = 0.018053968510807;
double EncodeCurve(double inLinear) noexcept;
double DecodeCurve(double inCoded) noexcept;

}
