#include "ReferenceHost/ImageRoutines/Colour.h"

#include <cmath>

namespace ir
{
namespace
{

struct LumaShare
{
    double red;
    double blue;
};

LumaShare ShareOf(Matrix inMatrix) noexcept
{
    switch (inMatrix)
    {
    case Matrix::k601: return {0.299, 0.114};
    case Matrix::k2020NonConstant: return {0.2627, 0.0593};
    case Matrix::k240M: return {0.212, 0.087};
    case Matrix::kFCC: return {0.30, 0.11};
    default: return {0.2126, 0.0722};
    }
}

constexpr Matrix3 kUnit = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

}

bool IsLinearModel(Matrix inMatrix) noexcept
{
    return inMatrix != Matrix::k2020Constant && inMatrix != Matrix::kICtCp;
}

Matrix3 ToRGB(Matrix inMatrix) noexcept
{
    if (inMatrix == Matrix::kRGB)
    {
        return kUnit;
    }
    if (inMatrix == Matrix::kYCgCo)
    {
        return {{{1, -1, 1}, {1, 1, 0}, {1, -1, -1}}};
    }
    const LumaShare k = ShareOf(inMatrix);
    const double green = 1.0 - k.red - k.blue;
    const double fromV = 2.0 * (1.0 - k.red);
    const double fromU = 2.0 * (1.0 - k.blue);
    return {{{1, 0, fromV}, {1, -fromU * k.blue / green, -fromV * k.red / green}, {1, fromU, 0}}};
}

Matrix3 FromRGB(Matrix inMatrix) noexcept
{
    if (inMatrix == Matrix::kRGB)
    {
        return kUnit;
    }
    if (inMatrix == Matrix::kYCgCo)
    {
        return {{{0.25, 0.5, 0.25}, {-0.25, 0.5, -0.25}, {0.5, 0, -0.5}}};
    }
    const LumaShare k = ShareOf(inMatrix);
    const double green = 1.0 - k.red - k.blue;
    const double u = 2.0 * (1.0 - k.blue);
    const double v = 2.0 * (1.0 - k.red);
    return {{{k.red, green, k.blue},
             {-k.red / u, -green / u, (1.0 - k.blue) / u},
             {(1.0 - k.red) / v, -green / v, -k.blue / v}}};
}

Matrix3 BetweenModels(Matrix inFrom, Matrix inTo) noexcept
{
    return inFrom == inTo ? kUnit : Multiply(FromRGB(inTo), ToRGB(inFrom));
}

Matrix3 Multiply(const Matrix3& inLeft, const Matrix3& inRight) noexcept
{
    Matrix3 product = {};
    for (int row = 0; row < 3; ++row)
    {
        for (int column = 0; column < 3; ++column)
        {
            for (int i = 0; i < 3; ++i)
            {
                product.m[row][column] += inLeft.m[row][i] * inRight.m[i][column];
            }
        }
    }
    return product;
}

bool IsIdentity(const Matrix3& inMatrix) noexcept
{
    for (int row = 0; row < 3; ++row)
    {
        for (int column = 0; column < 3; ++column)
        {
            if (inMatrix.m[row][column] != kUnit.m[row][column])
            {
                return false;
            }
        }
    }
    return true;
}

double EncodeCurve(double inLinear) noexcept
{
    const double size = std::fabs(inLinear);
    const double coded =
        size < kCurveBeta ? 4.5 * size : kCurveAlpha * std::pow(size, 0.45) - (kCurveAlpha - 1.0);
    return std::copysign(coded, inLinear);
}

double DecodeCurve(double inCoded) noexcept
{
    const double size = std::fabs(inCoded);
    const double linear = size < 4.5 * kCurveBeta
                              ? size / 4.5
                              : std::pow((size + (kCurveAlpha - 1.0)) / kCurveAlpha, 1.0 / 0.45);
    return std::copysign(linear, inCoded);
}

}
