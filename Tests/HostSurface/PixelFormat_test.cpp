#include "norviktypes/PixelFormat.h"

#include "MF/PixelFormats.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace norviktypes;

namespace
{

// Each format against each rule on the properties word. Written out on purpose: the functions derive all of
// this from the word, and would agree with any formula of the test that derived it the same way.
struct ExpectedFormat
{
    const char* mText;
    const char* mFourCC;
    std::uint32_t mProperties;
    bool mIsYUV;
    std::uint32_t mDepth;
    bool mIsFloat;
    std::uint32_t mTone;
    bool mIsFourComponent;
    std::uint32_t mBytesPerPixel;
    bool mIsSubsampled;
    bool mMayBeHalfWidth;
    bool mIsPacked422;
    bool mCarriesAlpha;
    bool mIsLinear;
    bool mIsBottomUp;
    std::uint32_t mCode;
};

// clang-format off
const ExpectedFormat kExpectedFormats[] = {
    {"BGRA_4444_8u", "BGRA", 0x00040080, false, 8, false, 1, true, 4, false, false, false, true, false, false, 0x0004},
    {"BGRP_4444_8u", "BGRp", 0x00040100, false, 8, false, 2, true, 4, false, false, false, true, false, false, 0x0008},
    {"BGRX_4444_8u", "BGRx", 0x00040180, false, 8, false, 3, true, 4, false, false, false, false, false, false, 0x000C},
    {"BGRA_4444_16u", "BGA6", 0x00040084, false, 16, false, 1, true, 8, false, false, false, true, false, false, 0x0204},
    {"BGRP_4444_16u", "BGP6", 0x00040104, false, 16, false, 2, true, 8, false, false, false, true, false, false, 0x0208},
    {"BGRX_4444_16u", "BGX6", 0x00040184, false, 16, false, 3, true, 8, false, false, false, false, false, false, 0x020C},
    {"BGRA_4444_32f", "BGAf", 0x0004009A, false, 32, true, 1, true, 16, false, false, false, true, false, false, 0x0104},
    {"BGRP_4444_32f", "BGPf", 0x0004011A, false, 32, true, 2, true, 16, false, false, false, true, false, false, 0x0108},
    {"BGRX_4444_32f", "BGXf", 0x0004019A, false, 32, true, 3, true, 16, false, false, false, false, false, false, 0x010C},
    {"BGRA_4444_32f_Linear", "BGAl", 0x0004109A, false, 32, true, 1, true, 16, false, false, false, true, true, false, 0x0904},
    {"BGRP_4444_32f_Linear", "BGPl", 0x0004111A, false, 32, true, 2, true, 16, false, false, false, true, true, false, 0x0908},
    {"BGRX_4444_32f_Linear", "BGXl", 0x0004119A, false, 32, true, 3, true, 16, false, false, false, false, true, false, 0x090C},
    {"VUYA_4444_8u", "VUYA", 0x00040081, true, 8, false, 1, true, 4, false, false, false, true, false, false, 0x0005},
    {"VUYP_4444_8u", "VUYp", 0x00040101, true, 8, false, 2, true, 4, false, false, false, true, false, false, 0x0009},
    {"VUYX_4444_8u", "VUYx", 0x00040181, true, 8, false, 3, true, 4, false, false, false, false, false, false, 0x000D},
    {"VUYA_4444_8u_709", "VUA7", 0x000400A1, true, 8, false, 1, true, 4, false, false, false, true, false, false, 0x0006},
    {"VUYP_4444_8u_709", "VUP7", 0x00040121, true, 8, false, 2, true, 4, false, false, false, true, false, false, 0x000A},
    {"VUYX_4444_8u_709", "VUX7", 0x000401A1, true, 8, false, 3, true, 4, false, false, false, false, false, false, 0x000E},
    {"VUYA_4444_32f", "VUAf", 0x0004009B, true, 32, true, 1, true, 16, false, false, false, true, false, false, 0x0105},
    {"VUYP_4444_32f", "VUPf", 0x0004011B, true, 32, true, 2, true, 16, false, false, false, true, false, false, 0x0109},
    {"VUYX_4444_32f", "VUXf", 0x0004019B, true, 32, true, 3, true, 16, false, false, false, false, false, false, 0x010D},
    {"VUYA_4444_32f_709", "VAf7", 0x000400BB, true, 32, true, 1, true, 16, false, false, false, true, false, false, 0x0106},
    {"VUYP_4444_32f_709", "VPf7", 0x0004013B, true, 32, true, 2, true, 16, false, false, false, true, false, false, 0x010A},
    {"VUYX_4444_32f_709", "VXf7", 0x000401BB, true, 32, true, 3, true, 16, false, false, false, false, false, false, 0x010E},
    {"UYVY_422_8u_601", "UYVY", 0x00040401, true, 8, false, 0, false, 2, false, false, true, false, false, false, 0x0011},
    {"UYVY_422_8u_709", "UYV7", 0x00040421, true, 8, false, 0, false, 2, false, false, true, false, false, false, 0x0012},
    {"YUYV_422_8u_601", "YUYV", 0x00042401, true, 8, false, 0, false, 2, false, false, true, false, false, false, 0x0021},
    {"YUYV_422_8u_709", "YUY7", 0x00042421, true, 8, false, 0, false, 2, false, false, true, false, false, false, 0x0022},
    {"V210_422_10u_601", "v210", 0x00040803, true, 10, false, 0, false, 4, false, false, false, false, false, false, 0x0331},
    {"V210_422_10u_709", "v217", 0x00040823, true, 10, false, 0, false, 4, false, false, false, false, false, false, 0x0332},
    {"YUV_420_MPEG2_Frame_8u_601", "420P", 0x00044C01, true, 8, false, 0, false, 0, true, false, false, false, false, false, 0x0041},
    {"YUV_420_MPEG2_Frame_8u_709", "42P7", 0x00044C21, true, 8, false, 0, false, 0, true, false, false, false, false, false, 0x0042},
    {"YUV_420_MPEG2_Field_8u_601", "420I", 0x00064C01, true, 8, false, 0, false, 0, true, true, false, false, false, false, 0x0051},
    {"YUV_420_MPEG2_Field_8u_709", "42I7", 0x00064C21, true, 8, false, 0, false, 0, true, true, false, false, false, false, 0x0052},
    {"YUV_420_MPEG2_Frame_10u_709", "42PX", 0x00044C23, true, 10, false, 0, false, 4, true, false, false, false, false, false, 0x0342},
    {"YUV_420_MPEG2_Field_10u_709", "42IX", 0x00064C23, true, 10, false, 0, false, 4, true, true, false, false, false, false, 0x0352},
    {"YUV_422_Planar_8u_709", "422P", 0x00054C21, true, 8, false, 0, false, 0, true, false, false, false, false, false, 0x0062},
    {"YUV_422_Planar_10u_709", "422X", 0x00054C23, true, 10, false, 0, false, 4, true, false, false, false, false, false, 0x0362},
    {"YUV_420_Center_Frame_8u_601_Full", "420J", 0x0004CC41, true, 8, false, 0, false, 0, true, false, false, false, false, false, 0x1071},
    {"VUYA_4444_8u_601_Full", "VUAJ", 0x000400C1, true, 8, false, 1, true, 4, false, false, false, true, false, false, 0x1005},
    {"VUYP_4444_8u_601_Full", "VUPJ", 0x00040141, true, 8, false, 2, true, 4, false, false, false, true, false, false, 0x1009},
    {"VUYX_4444_8u_601_Full", "VUXJ", 0x000401C1, true, 8, false, 3, true, 4, false, false, false, false, false, false, 0x100D},
    {"VUYA_4444_32f_601_Full", "VAfJ", 0x000400DB, true, 32, true, 1, true, 16, false, false, false, true, false, false, 0x1105},
    {"VUYP_4444_32f_601_Full", "VPfJ", 0x0004015B, true, 32, true, 2, true, 16, false, false, false, true, false, false, 0x1109},
    {"VUYX_4444_32f_601_Full", "VXfJ", 0x000401DB, true, 32, true, 3, true, 16, false, false, false, false, false, false, 0x110D},
    {"BGRA_4444_8u_BottomUp", "BGAu", 0x00042080, false, 8, false, 1, true, 4, false, false, false, true, false, true, 0x2004},
};

// What the arithmetic on formats ends at. "*": changed by it. "(params)": no format has the word, so the one
// that was asked for is used.
struct ExpectedResults
{
    const char* mSource;
    const char* mFourComponent;
    const char* mWithAlpha;         // of mFourComponent; "(unchanged)" where it carries alpha
    const char* mAtDepthOf8u;
    const char* mAtDepthOf32f;
    const char* mConformedTo8u;
    const char* mConformedTo16u;
    const char* mConformedTo32f;
};

const ExpectedResults kExpectedResults[] = {
    {"BGRA_4444_8u", "BGRA_4444_8u", "(unchanged)", "BGRA_4444_8u", "BGRA_4444_32f", "BGRA_4444_8u", "BGRA_4444_8u", "BGRA_4444_8u"},
    {"BGRP_4444_8u", "BGRP_4444_8u", "(unchanged)", "BGRP_4444_8u", "BGRP_4444_32f", "BGRP_4444_8u", "BGRP_4444_8u", "BGRP_4444_8u"},
    {"BGRX_4444_8u", "BGRX_4444_8u", "BGRA_4444_8u", "BGRX_4444_8u", "BGRX_4444_32f", "BGRX_4444_8u", "BGRX_4444_8u", "BGRX_4444_8u"},
    {"BGRA_4444_16u", "BGRA_4444_16u", "(unchanged)", "BGRA_4444_8u", "BGRA_4444_32f", "BGRA_4444_8u*", "BGRA_4444_16u", "BGRA_4444_16u"},
    {"BGRP_4444_16u", "BGRP_4444_16u", "(unchanged)", "BGRP_4444_8u", "BGRP_4444_32f", "BGRP_4444_8u*", "BGRP_4444_16u", "BGRP_4444_16u"},
    {"BGRX_4444_16u", "BGRX_4444_16u", "BGRA_4444_16u", "BGRX_4444_8u", "BGRX_4444_32f", "BGRX_4444_8u*", "BGRX_4444_16u", "BGRX_4444_16u"},
    {"BGRA_4444_32f", "BGRA_4444_32f", "(unchanged)", "BGRA_4444_8u", "BGRA_4444_32f", "BGRA_4444_8u*", "BGRA_4444_16u*", "BGRA_4444_32f"},
    {"BGRP_4444_32f", "BGRP_4444_32f", "(unchanged)", "BGRP_4444_8u", "BGRP_4444_32f", "BGRP_4444_8u*", "BGRP_4444_16u*", "BGRP_4444_32f"},
    {"BGRX_4444_32f", "BGRX_4444_32f", "BGRA_4444_32f", "BGRX_4444_8u", "BGRX_4444_32f", "BGRX_4444_8u*", "BGRX_4444_16u*", "BGRX_4444_32f"},
    {"BGRA_4444_32f_Linear", "BGRA_4444_32f_Linear", "(unchanged)", "(params)", "BGRA_4444_32f_Linear", "BGRA_4444_8u*", "BGRA_4444_16u*", "BGRA_4444_32f_Linear"},
    {"BGRP_4444_32f_Linear", "BGRP_4444_32f_Linear", "(unchanged)", "(params)", "BGRP_4444_32f_Linear", "BGRP_4444_8u*", "BGRP_4444_16u*", "BGRP_4444_32f_Linear"},
    {"BGRX_4444_32f_Linear", "BGRX_4444_32f_Linear", "BGRA_4444_32f_Linear", "(params)", "BGRX_4444_32f_Linear", "BGRX_4444_8u*", "BGRX_4444_16u*", "BGRX_4444_32f_Linear"},
    {"VUYA_4444_8u", "VUYA_4444_8u", "(unchanged)", "VUYA_4444_8u", "VUYA_4444_32f", "VUYA_4444_8u", "VUYA_4444_8u", "VUYA_4444_8u"},
    {"VUYP_4444_8u", "VUYP_4444_8u", "(unchanged)", "VUYP_4444_8u", "VUYP_4444_32f", "VUYP_4444_8u", "VUYP_4444_8u", "VUYP_4444_8u"},
    {"VUYX_4444_8u", "VUYX_4444_8u", "VUYA_4444_8u", "VUYX_4444_8u", "VUYX_4444_32f", "VUYX_4444_8u", "VUYX_4444_8u", "VUYX_4444_8u"},
    {"VUYA_4444_8u_709", "VUYA_4444_8u_709", "(unchanged)", "VUYA_4444_8u_709", "VUYA_4444_32f_709", "VUYA_4444_8u_709", "VUYA_4444_8u_709", "VUYA_4444_8u_709"},
    {"VUYP_4444_8u_709", "VUYP_4444_8u_709", "(unchanged)", "VUYP_4444_8u_709", "VUYP_4444_32f_709", "VUYP_4444_8u_709", "VUYP_4444_8u_709", "VUYP_4444_8u_709"},
    {"VUYX_4444_8u_709", "VUYX_4444_8u_709", "VUYA_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709"},
    {"VUYA_4444_32f", "VUYA_4444_32f", "(unchanged)", "VUYA_4444_8u", "VUYA_4444_32f", "VUYA_4444_8u*", "VUYA_4444_32f", "VUYA_4444_32f"},
    {"VUYP_4444_32f", "VUYP_4444_32f", "(unchanged)", "VUYP_4444_8u", "VUYP_4444_32f", "VUYP_4444_8u*", "VUYP_4444_32f", "VUYP_4444_32f"},
    {"VUYX_4444_32f", "VUYX_4444_32f", "VUYA_4444_32f", "VUYX_4444_8u", "VUYX_4444_32f", "VUYX_4444_8u*", "VUYX_4444_32f", "VUYX_4444_32f"},
    {"VUYA_4444_32f_709", "VUYA_4444_32f_709", "(unchanged)", "VUYA_4444_8u_709", "VUYA_4444_32f_709", "VUYA_4444_8u_709*", "VUYA_4444_32f_709", "VUYA_4444_32f_709"},
    {"VUYP_4444_32f_709", "VUYP_4444_32f_709", "(unchanged)", "VUYP_4444_8u_709", "VUYP_4444_32f_709", "VUYP_4444_8u_709*", "VUYP_4444_32f_709", "VUYP_4444_32f_709"},
    {"VUYX_4444_32f_709", "VUYX_4444_32f_709", "VUYA_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709*", "VUYX_4444_32f_709", "VUYX_4444_32f_709"},
    {"UYVY_422_8u_601", "VUYX_4444_8u", "VUYA_4444_8u", "VUYX_4444_8u", "VUYX_4444_32f", "VUYX_4444_8u", "VUYX_4444_8u", "VUYX_4444_8u"},
    {"UYVY_422_8u_709", "VUYX_4444_8u_709", "VUYA_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709"},
    {"YUYV_422_8u_601", "VUYX_4444_8u", "VUYA_4444_8u", "VUYX_4444_8u", "VUYX_4444_32f", "VUYX_4444_8u", "VUYX_4444_8u", "VUYX_4444_8u"},
    {"YUYV_422_8u_709", "VUYX_4444_8u_709", "VUYA_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709"},
    {"V210_422_10u_601", "VUYX_4444_32f", "VUYA_4444_32f", "VUYX_4444_8u", "VUYX_4444_32f", "VUYX_4444_8u*", "VUYX_4444_32f", "VUYX_4444_32f"},
    {"V210_422_10u_709", "VUYX_4444_32f_709", "VUYA_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709*", "VUYX_4444_32f_709", "VUYX_4444_32f_709"},
    {"YUV_420_MPEG2_Frame_8u_601", "VUYX_4444_8u", "VUYA_4444_8u", "VUYX_4444_8u", "VUYX_4444_32f", "VUYX_4444_8u", "VUYX_4444_8u", "VUYX_4444_8u"},
    {"YUV_420_MPEG2_Frame_8u_709", "VUYX_4444_8u_709", "VUYA_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709"},
    {"YUV_420_MPEG2_Field_8u_601", "VUYX_4444_8u", "VUYA_4444_8u", "VUYX_4444_8u", "VUYX_4444_32f", "VUYX_4444_8u", "VUYX_4444_8u", "VUYX_4444_8u"},
    {"YUV_420_MPEG2_Field_8u_709", "VUYX_4444_8u_709", "VUYA_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709"},
    {"YUV_420_MPEG2_Frame_10u_709", "VUYX_4444_32f_709", "VUYA_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709*", "VUYX_4444_32f_709", "VUYX_4444_32f_709"},
    {"YUV_420_MPEG2_Field_10u_709", "VUYX_4444_32f_709", "VUYA_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709*", "VUYX_4444_32f_709", "VUYX_4444_32f_709"},
    {"YUV_422_Planar_8u_709", "VUYX_4444_8u_709", "VUYA_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709", "VUYX_4444_8u_709"},
    {"YUV_422_Planar_10u_709", "VUYX_4444_32f_709", "VUYA_4444_32f_709", "VUYX_4444_8u_709", "VUYX_4444_32f_709", "VUYX_4444_8u_709*", "VUYX_4444_32f_709", "VUYX_4444_32f_709"},
    {"YUV_420_Center_Frame_8u_601_Full", "VUYX_4444_8u_601_Full", "VUYA_4444_8u_601_Full", "VUYX_4444_8u_601_Full", "VUYX_4444_32f_601_Full", "VUYX_4444_8u_601_Full", "VUYX_4444_8u_601_Full", "VUYX_4444_8u_601_Full"},
    {"VUYA_4444_8u_601_Full", "VUYA_4444_8u_601_Full", "(unchanged)", "VUYA_4444_8u_601_Full", "VUYA_4444_32f_601_Full", "VUYA_4444_8u_601_Full", "VUYA_4444_8u_601_Full", "VUYA_4444_8u_601_Full"},
    {"VUYP_4444_8u_601_Full", "VUYP_4444_8u_601_Full", "(unchanged)", "VUYP_4444_8u_601_Full", "VUYP_4444_32f_601_Full", "VUYP_4444_8u_601_Full", "VUYP_4444_8u_601_Full", "VUYP_4444_8u_601_Full"},
    {"VUYX_4444_8u_601_Full", "VUYX_4444_8u_601_Full", "VUYA_4444_8u_601_Full", "VUYX_4444_8u_601_Full", "VUYX_4444_32f_601_Full", "VUYX_4444_8u_601_Full", "VUYX_4444_8u_601_Full", "VUYX_4444_8u_601_Full"},
    {"VUYA_4444_32f_601_Full", "VUYA_4444_32f_601_Full", "(unchanged)", "VUYA_4444_8u_601_Full", "VUYA_4444_32f_601_Full", "VUYA_4444_8u_601_Full*", "VUYA_4444_32f_601_Full", "VUYA_4444_32f_601_Full"},
    {"VUYP_4444_32f_601_Full", "VUYP_4444_32f_601_Full", "(unchanged)", "VUYP_4444_8u_601_Full", "VUYP_4444_32f_601_Full", "VUYP_4444_8u_601_Full*", "VUYP_4444_32f_601_Full", "VUYP_4444_32f_601_Full"},
    {"VUYX_4444_32f_601_Full", "VUYX_4444_32f_601_Full", "VUYA_4444_32f_601_Full", "VUYX_4444_8u_601_Full", "VUYX_4444_32f_601_Full", "VUYX_4444_8u_601_Full*", "VUYX_4444_32f_601_Full", "VUYX_4444_32f_601_Full"},
    {"BGRA_4444_8u_BottomUp", "BGRA_4444_8u_BottomUp", "(unchanged)", "BGRA_4444_8u_BottomUp", "(params)", "BGRA_4444_8u_BottomUp", "BGRA_4444_8u_BottomUp", "BGRA_4444_8u_BottomUp"},
};

// Formats that are composited with each other as they are.
const std::vector<std::vector<std::string>> kCompositableGroups = {
    {"BGRA_4444_8u", "BGRP_4444_8u", "BGRX_4444_8u"},
    {"BGRA_4444_16u", "BGRP_4444_16u", "BGRX_4444_16u"},
    {"BGRA_4444_32f", "BGRP_4444_32f", "BGRX_4444_32f", "BGRA_4444_32f_Linear", "BGRP_4444_32f_Linear", "BGRX_4444_32f_Linear"},
    {"VUYA_4444_8u", "VUYP_4444_8u", "VUYX_4444_8u"},
    {"VUYA_4444_8u_709", "VUYP_4444_8u_709", "VUYX_4444_8u_709"},
    {"VUYA_4444_32f", "VUYP_4444_32f", "VUYX_4444_32f"},
    {"VUYA_4444_32f_709", "VUYP_4444_32f_709", "VUYX_4444_32f_709"},
    {"VUYA_4444_8u_601_Full", "VUYP_4444_8u_601_Full", "VUYX_4444_8u_601_Full"},
    {"VUYA_4444_32f_601_Full", "VUYP_4444_32f_601_Full", "VUYX_4444_32f_601_Full"},
};
// clang-format on

PixelFormat FormatOf(const std::string& inText)
{
    PixelFormat format;
    EXPECT_TRUE(PixelFormatFromText(inText.c_str(), format)) << inText;
    return format;
}

std::string TextOfProperties(std::uint32_t inProperties)
{
    return PixelFormatText({GuessNameForProperties(inProperties), inProperties});
}

// A format of the same family and depth that carries alpha, as compositing needs it of its target.
std::string WithAlpha(const PixelFormat& inFormat)
{
    if (ToneOfProperties(inFormat.mProperties) != 0 && ToneOfProperties(inFormat.mProperties) != 3)
    {
        return "(unchanged)";
    }
    const std::uint32_t name = GuessNameForProperties((inFormat.mProperties & 0xFFFFFCFF) | 0x80);
    if (name == 0)
    {
        return "Any";
    }
    return name == kPixelFormatName_Unknown ? "Invalid"
                                            : TextOfProperties((inFormat.mProperties & 0xFFF7FCFF) | 0x40080);
}

// The depth of the params' format, as an effect needs it of its input.
std::string AtDepthOf(const PixelFormat& inSource, const PixelFormat& inParams)
{
    const std::uint32_t word = Select4444PixelFormat(inSource, kRenderQuality_High).mProperties;
    const std::uint32_t result = (inParams.mProperties & 0xE) != 0 ? (word & ~0x4u) | 0x1A : word & ~0x1Eu;
    const std::uint32_t name = GuessNameForProperties(result);
    return name == kPixelFormatName_Unknown || (result & 0xC0000) == 0 ? "(params)"
                                                                       : TextOfProperties(result);
}

// No deeper than the params' format, below the highest quality.
std::string Conformed(const PixelFormat& inSource, const PixelFormat& inParams)
{
    const PixelFormat candidate = Select4444PixelFormat(inSource, kRenderQuality_High);
    if (candidate != inParams && BytesPerPixel(candidate.mProperties) > BytesPerPixel(inParams.mProperties))
    {
        const std::uint32_t word = (candidate.mProperties & ~0x101Eu) | (inParams.mProperties & 0x101E);
        if (GuessNameForProperties(word) != kPixelFormatName_Unknown)
        {
            return TextOfProperties(word) + "*";
        }
    }
    return PixelFormatText(candidate);
}

using Formats = std::vector<PixelFormat>;

} // namespace

TEST(PixelFormat, TableHoldsEachExpectedFormatInOrder)
{
    ASSERT_EQ(kPixelFormatTable.size(), std::size(kExpectedFormats));
    for (std::size_t i = 0; i < kPixelFormatTable.size(); ++i)
    {
        EXPECT_STREQ(kPixelFormatTable[i].mText, kExpectedFormats[i].mText);
        EXPECT_EQ(kPixelFormatTable[i].mFormat.mProperties, kExpectedFormats[i].mProperties);
        std::string name;
        for (int shift = 24; shift >= 0; shift -= 8)
        {
            name += static_cast<char>(kPixelFormatTable[i].mFormat.mName >> shift & 0xFF);
        }
        EXPECT_EQ(name, kExpectedFormats[i].mFourCC);
    }
}

TEST(PixelFormat, EachFormatAnswersEachRule)
{
    for (const ExpectedFormat& expected : kExpectedFormats)
    {
        SCOPED_TRACE(expected.mText);
        const std::uint32_t p = FormatOf(expected.mText).mProperties;
        EXPECT_TRUE(IsUncompressed(p));
        EXPECT_EQ(IsYUV(p), expected.mIsYUV);
        EXPECT_EQ(DepthOfProperties(p), expected.mDepth);
        EXPECT_EQ((p & 0x10) != 0, expected.mIsFloat);
        EXPECT_EQ(ToneOfProperties(p), expected.mTone);
        EXPECT_EQ(IsPackedFourComponent(p), expected.mIsFourComponent);
        EXPECT_EQ(BytesPerPixel(p), expected.mBytesPerPixel);
        EXPECT_EQ(IsSubsampled(p), expected.mIsSubsampled);
        EXPECT_EQ(MayBeHalfWidthSubstitute(p), expected.mMayBeHalfWidth);
        EXPECT_EQ(IsPacked422(p), expected.mIsPacked422);
        EXPECT_EQ(ToneOfProperties(p) == 1 || ToneOfProperties(p) == 2, expected.mCarriesAlpha);
        EXPECT_EQ(IsLinear(p), expected.mIsLinear);
        EXPECT_EQ(IsPackedFourComponent(p) && (p & 0x2000) != 0, expected.mIsBottomUp);
    }
}

TEST(PixelFormat, EachFormatHasItsCodeForImageRoutines)
{
    std::set<std::uint32_t> codes;
    for (const ExpectedFormat& expected : kExpectedFormats)
    {
        const std::uint32_t code = VF::BEPixelFormatToIRPixelFormat(FormatOf(expected.mText));
        EXPECT_EQ(code, expected.mCode) << expected.mText;
        EXPECT_EQ(VF::BEToIRPixelFormat(FormatOf(expected.mText)), code);
        codes.insert(code);
    }
    EXPECT_EQ(codes.size(), std::size(kExpectedFormats));
}

TEST(PixelFormat, UnknownFormatsHaveNoCode)
{
    EXPECT_EQ(VF::BEPixelFormatToIRPixelFormat(kPixelFormat_Any), 0u);
    EXPECT_EQ(VF::BEPixelFormatToIRPixelFormat(kPixelFormat_Invalid), 0u);
    EXPECT_EQ(VF::BEPixelFormatToIRPixelFormat({FourCC("BGRA"), 0x00040081}), 0u);
    EXPECT_EQ(VF::BEPixelFormatToIRPixelFormat({kPixelFormatName_Unknown, 0x0004209A}), 0u);
}

TEST(PixelFormat, WildcardAndInvalidFailEachRule)
{
    for (const PixelFormat& format : {kPixelFormat_Any, kPixelFormat_Invalid})
    {
        const std::uint32_t p = format.mProperties;
        EXPECT_FALSE(IsUncompressed(p) || IsPackedFourComponent(p) || IsPacked422(p) || IsSubsampled(p));
        EXPECT_FALSE(MayBeHalfWidthSubstitute(p));
        EXPECT_EQ(BytesPerPixel(p), 0u);
    }
    EXPECT_EQ(ToneOfProperties(kPixelFormatProperties_Any), 0u);
}

TEST(PixelFormat, NamesAreFoundByProperties)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        EXPECT_EQ(GuessNameForProperties(row.mFormat.mProperties), row.mFormat.mName) << row.mText;
    }
    EXPECT_EQ(GuessNameForProperties(0), 0u);
    EXPECT_EQ(GuessNameForProperties(0x00000080), 0u) << "a wildcard with other bits";
    EXPECT_EQ(GuessNameForProperties(0x0004209A), kPixelFormatName_Unknown);
    EXPECT_EQ(GuessNameForProperties(kPixelFormatProperties_Invalid), kPixelFormatName_Unknown);
    EXPECT_EQ(kPixelFormatName_Unknown, 0x62616466u);
}

TEST(PixelFormat, TextsGoThereAndBack)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        EXPECT_STREQ(PixelFormatText(row.mFormat), row.mText);
        EXPECT_EQ(FormatOf(row.mText), row.mFormat);
    }
    EXPECT_STREQ(PixelFormatText(kPixelFormat_Any), "Any");
    EXPECT_EQ(FormatOf("Any"), kPixelFormat_Any);
    EXPECT_STREQ(PixelFormatText(kPixelFormat_Invalid), "Invalid");
    EXPECT_STREQ(PixelFormatText({FourCC("BGRA"), 0x00040100}), "Invalid") << "the name of another word";
}

TEST(PixelFormat, UnknownTextsGiveInvalid)
{
    for (const char* text :
         {"", "Invalid", "bgra_4444_8u", "BGRA_4444_8u ", static_cast<const char*>(nullptr)})
    {
        PixelFormat format = kPixelFormat_BGRA_4444_8u;
        EXPECT_FALSE(PixelFormatFromText(text, format));
        EXPECT_EQ(format, kPixelFormat_Invalid);
    }
}

TEST(PixelFormat, MediaLibraryHasTheSameFormats)
{
    EXPECT_EQ(MF::kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(MF::kPixelFormat_Any, kPixelFormat_Any);
}

TEST(PixelFormatArithmetic, AlwaysEndsAtAFormat)
{
    ASSERT_EQ(std::size(kExpectedResults), kPixelFormatTable.size());
    for (const ExpectedResults& expected : kExpectedResults)
    {
        SCOPED_TRACE(expected.mSource);
        const PixelFormat source = FormatOf(expected.mSource);
        const PixelFormat selected = Select4444PixelFormat(source, kRenderQuality_High);
        EXPECT_STREQ(PixelFormatText(selected), expected.mFourComponent);
        EXPECT_EQ(WithAlpha(selected), expected.mWithAlpha);
        EXPECT_EQ(AtDepthOf(source, kPixelFormat_BGRA_4444_8u), expected.mAtDepthOf8u);
        EXPECT_EQ(AtDepthOf(source, kPixelFormat_BGRA_4444_32f), expected.mAtDepthOf32f);
        EXPECT_EQ(Conformed(source, kPixelFormat_BGRA_4444_8u), expected.mConformedTo8u);
        EXPECT_EQ(Conformed(source, kPixelFormat_BGRA_4444_16u), expected.mConformedTo16u);
        EXPECT_EQ(Conformed(source, kPixelFormat_BGRA_4444_32f), expected.mConformedTo32f);
    }
}

TEST(PixelFormatArithmetic, WildcardStaysOneWhenAlphaIsAsked)
{
    EXPECT_EQ(WithAlpha(kPixelFormat_Any), "Any");
}

TEST(PixelFormatArithmetic, FormatsOfOneFamilyDepthAndMatrixCompositeAsTheyAre)
{
    std::size_t pairs = 0;
    for (const PixelFormatRow& a : kPixelFormatTable)
    {
        for (const PixelFormatRow& b : kPixelFormatTable)
        {
            const bool composites = ((a.mFormat.mProperties ^ b.mFormat.mProperties) & ~0x1380u) == 0;
            bool isExpected = a.mFormat == b.mFormat;
            for (const auto& group : kCompositableGroups)
            {
                const std::set<std::string> names(group.begin(), group.end());
                isExpected |= names.count(a.mText) != 0 && names.count(b.mText) != 0;
            }
            EXPECT_EQ(composites, isExpected) << a.mText << " " << b.mText;
            pairs += composites ? 1 : 0;
        }
    }
    EXPECT_GT(pairs, kPixelFormatTable.size());
}

TEST(PixelFormatArithmetic, PremultipliedTwinOfACodeIsThatOfTheFormat)
{
    const std::pair<const char*, const char*> twins[] = {{"BGRA_4444_8u", "BGRP_4444_8u"},
                                                         {"BGRX_4444_8u", "BGRP_4444_8u"},
                                                         {"BGRA_4444_16u", "BGRP_4444_16u"},
                                                         {"BGRX_4444_16u", "BGRP_4444_16u"},
                                                         {"BGRA_4444_32f", "BGRP_4444_32f"},
                                                         {"BGRX_4444_32f", "BGRP_4444_32f"},
                                                         {"BGRA_4444_32f_Linear", "BGRP_4444_32f_Linear"},
                                                         {"BGRX_4444_32f_Linear", "BGRP_4444_32f_Linear"},
                                                         {"BGRP_4444_8u", "BGRP_4444_8u"}};
    for (const auto& [format, twin] : twins)
    {
        const std::uint32_t code = (VF::BEToIRPixelFormat(FormatOf(format)) & ~4u) | 8u;
        EXPECT_EQ(code, VF::BEToIRPixelFormat(FormatOf(twin))) << format;
    }
    EXPECT_EQ((VF::BEToIRPixelFormat(kPixelFormat_BGRA_4444_8u_BottomUp) & ~4u) | 8u, 0x2008u);
}

TEST(Select4444PixelFormat, HighestQualityWorksInLinearLight)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        EXPECT_EQ(Select4444PixelFormat(row.mFormat, kRenderQuality_Max), kPixelFormat_BGRP_4444_32f_Linear);
    }
    EXPECT_EQ(Select4444PixelFormat(kPixelFormat_Any, kRenderQuality_Max), kPixelFormat_BGRP_4444_32f_Linear);
}

TEST(Select4444PixelFormat, WildcardsGiveStraightBytes)
{
    EXPECT_EQ(Select4444PixelFormat(kPixelFormat_Any, kRenderQuality_High), kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(Select4444PixelFormat(kPixelFormat_Invalid, kRenderQuality_High), kPixelFormat_BGRA_4444_8u);
}

TEST(Select4444PixelFormat, SubsampledFormatOfNoFamilyGivesStraightBytes)
{
    const PixelFormat full709 = {kPixelFormatName_Unknown, 0x00044C61};
    EXPECT_EQ(Select4444PixelFormat(full709, kRenderQuality_High), kPixelFormat_BGRA_4444_8u);
}

TEST(SelectNearestPixelFormat, WithoutAcceptedFormatsGivesTheFirstWish)
{
    const Formats wished = {kPixelFormat_VUYA_4444_8u, kPixelFormat_BGRA_4444_8u};
    EXPECT_EQ(SelectNearestPixelFormat(wished, kPixelFormat_UYVY_422_8u_601, {}, kRenderQuality_High, true),
              kPixelFormat_VUYA_4444_8u);
    EXPECT_EQ(SelectNearestPixelFormat(wished, Formats(), kRenderQuality_High, true),
              kPixelFormat_VUYA_4444_8u);
}

TEST(SelectNearestPixelFormat, WithoutWishesIsInvalid)
{
    EXPECT_EQ(SelectNearestPixelFormat(Formats(), kPixelFormat_BGRA_4444_8u, {kPixelFormat_BGRA_4444_8u},
                                       kRenderQuality_High, true),
              kPixelFormat_Invalid);
}

TEST(SelectNearestPixelFormat, PrefersTheFrameOnlyWhenAsked)
{
    const Formats wished = {kPixelFormat_BGRA_4444_8u};
    const Formats accepted = {kPixelFormat_BGRA_4444_8u, kPixelFormat_VUYA_4444_8u};
    const PixelFormat frame = kPixelFormat_VUYA_4444_8u;
    EXPECT_EQ(SelectNearestPixelFormat(wished, frame, accepted, kRenderQuality_High, true), frame);
    EXPECT_EQ(SelectNearestPixelFormat(wished, frame, accepted, kRenderQuality_High, false),
              kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(SelectNearestPixelFormat(wished, kPixelFormat_Invalid, accepted, kRenderQuality_High, true),
              kPixelFormat_BGRA_4444_8u);
}

TEST(SelectNearestPixelFormat, AcceptedWildcardTakesFrameOrFirstWish)
{
    const Formats wished = {kPixelFormat_BGRA_4444_8u};
    const Formats accepted = {kPixelFormat_VUYA_4444_32f, kPixelFormat_Any};
    EXPECT_EQ(
        SelectNearestPixelFormat(wished, kPixelFormat_UYVY_422_8u_601, accepted, kRenderQuality_High, true),
        kPixelFormat_UYVY_422_8u_601);
    EXPECT_EQ(
        SelectNearestPixelFormat(wished, kPixelFormat_UYVY_422_8u_601, accepted, kRenderQuality_High, false),
        kPixelFormat_BGRA_4444_8u);
}

TEST(SelectNearestPixelFormat, TakesTheFirstWishThatIsAccepted)
{
    const Formats wished = {kPixelFormat_UYVY_422_8u_601, kPixelFormat_BGRA_4444_32f,
                            kPixelFormat_BGRA_4444_8u};
    const Formats accepted = {kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRA_4444_32f};
    EXPECT_EQ(SelectNearestPixelFormat(wished, accepted, kRenderQuality_High, false),
              kPixelFormat_BGRA_4444_32f);
}

TEST(SelectNearestPixelFormat, NearestKeepsWhatCostsMostToLose)
{
    struct Case
    {
        PixelFormat mFrom;
        Formats mAccepted;
        PixelFormat mExpected;
    };
    const Case cases[] = {
        // Family before chroma.
        {kPixelFormat_YUV_420_MPEG2_Frame_8u_601,
         {kPixelFormat_BGRX_4444_8u, kPixelFormat_VUYX_4444_8u},
         kPixelFormat_VUYX_4444_8u},
        // Matrix and range decide among equals.
        {kPixelFormat_YUV_420_MPEG2_Frame_8u_709,
         {kPixelFormat_UYVY_422_8u_601, kPixelFormat_UYVY_422_8u_709},
         kPixelFormat_UYVY_422_8u_709},
        {kPixelFormat_YUV_420_Center_Frame_8u_601_Full,
         {kPixelFormat_VUYX_4444_8u, kPixelFormat_VUYX_4444_8u_601_Full},
         kPixelFormat_VUYX_4444_8u_601_Full},
        // Depth is gained rather than lost.
        {kPixelFormat_YUV_420_MPEG2_Frame_10u_709,
         {kPixelFormat_VUYX_4444_8u_709, kPixelFormat_VUYX_4444_32f_709},
         kPixelFormat_VUYX_4444_32f_709},
        {kPixelFormat_BGRA_4444_16u,
         {kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRA_4444_32f},
         kPixelFormat_BGRA_4444_32f},
        {kPixelFormat_BGRA_4444_8u,
         {kPixelFormat_BGRA_4444_32f, kPixelFormat_BGRA_4444_16u},
         kPixelFormat_BGRA_4444_16u},
        // Alpha before depth, alpha of another kind before none.
        {kPixelFormat_BGRA_4444_16u,
         {kPixelFormat_BGRX_4444_16u, kPixelFormat_BGRA_4444_8u},
         kPixelFormat_BGRA_4444_8u},
        {kPixelFormat_BGRA_4444_8u,
         {kPixelFormat_BGRX_4444_8u, kPixelFormat_BGRP_4444_8u},
         kPixelFormat_BGRP_4444_8u},
        // Chroma.
        {kPixelFormat_VUYX_4444_8u,
         {kPixelFormat_YUV_420_MPEG2_Frame_8u_601, kPixelFormat_UYVY_422_8u_601},
         kPixelFormat_UYVY_422_8u_601},
        // Coded light stays coded, the origin stays where it is.
        {kPixelFormat_BGRA_4444_32f,
         {kPixelFormat_BGRA_4444_32f_Linear, kPixelFormat_BGRP_4444_32f},
         kPixelFormat_BGRP_4444_32f},
        {kPixelFormat_BGRA_4444_8u_BottomUp,
         {kPixelFormat_BGRX_4444_8u, kPixelFormat_BGRA_4444_8u},
         kPixelFormat_BGRA_4444_8u},
        // Among equals, and from a wildcard, the earlier.
        {kPixelFormat_UYVY_422_8u_601,
         {kPixelFormat_YUYV_422_8u_601, kPixelFormat_UYVY_422_8u_709},
         kPixelFormat_YUYV_422_8u_601},
        {kPixelFormat_Any,
         {kPixelFormat_VUYA_4444_32f, kPixelFormat_BGRA_4444_8u},
         kPixelFormat_VUYA_4444_32f},
    };
    for (const Case& one : cases)
    {
        EXPECT_EQ(SelectNearestPixelFormat({one.mFrom}, one.mAccepted, kRenderQuality_High, false),
                  one.mExpected)
            << PixelFormatText(one.mFrom);
        EXPECT_EQ(
            SelectNearestPixelFormat({kPixelFormat_Any}, one.mFrom, one.mAccepted, kRenderQuality_High, true),
            one.mExpected)
            << "by the frame " << PixelFormatText(one.mFrom);
    }
}

TEST(SelectNearestPixelFormat, ExactChoiceIsNeverMerelyNear)
{
    const PixelFormat noMatch = kPixelFormat_Invalid;
    EXPECT_EQ(SelectNearestPixelFormat({kPixelFormat_BGRA_4444_8u}, {kPixelFormat_BGRP_4444_8u}, noMatch,
                                       kRenderQuality_High),
              noMatch);
    EXPECT_EQ(SelectNearestPixelFormat({kPixelFormat_VUYA_4444_8u, kPixelFormat_BGRA_4444_8u},
                                       {kPixelFormat_BGRA_4444_8u, kPixelFormat_VUYA_4444_8u}, noMatch,
                                       kRenderQuality_High),
              kPixelFormat_VUYA_4444_8u);
    EXPECT_EQ(SelectNearestPixelFormat({kPixelFormat_VUYA_4444_8u, kPixelFormat_BGRA_4444_8u},
                                       {kPixelFormat_Any}, noMatch, kRenderQuality_High),
              kPixelFormat_VUYA_4444_8u);
    EXPECT_EQ(SelectNearestPixelFormat({kPixelFormat_VUYA_4444_8u, kPixelFormat_Any},
                                       {kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRP_4444_8u}, noMatch,
                                       kRenderQuality_High),
              kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(SelectNearestPixelFormat({kPixelFormat_Any, kPixelFormat_BGRA_4444_8u},
                                       {kPixelFormat_Any, kPixelFormat_BGRA_4444_8u}, noMatch,
                                       kRenderQuality_High),
              kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(SelectNearestPixelFormat(Formats(), {kPixelFormat_Any}, noMatch, kRenderQuality_High), noMatch);
    EXPECT_EQ(SelectNearestPixelFormat({kPixelFormat_Any}, Formats(), noMatch, kRenderQuality_High), noMatch);
}
