#include "TVK/InterfaceIDs.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

namespace IDs = TVK::InterfaceIDs;

struct Known
{
    TVK::InterfaceIDs::Guid mID;
    const char* mText;
};

// Hosts and plug-ins ask for these by value.
TEST(InterfaceIDs, ThoseThatOthersAskForNeverChange)
{
    for (const Known& known :
         {Known{IDs::kRenderableSource, "AECA09FC-9C02-412D-AE18-E5DCDDA00B6B"},
          Known{IDs::kRenderableVideoSource, "FBF4018D-C935-474F-B122-F79664AC1EC4"},
          Known{IDs::kSource, "AE9C4047-8A9C-479E-A8B7-DFCC8E97538C"},
          Known{IDs::kVideoFramePixels, "58D1D4D6-E9FB-4FE0-A8BC-3A3C7634EB3B"},
          Known{IDs::kVideoFrameRaster, "282D21CF-D8DA-4E4F-82BE-6E9C176CA796"},
          Known{IDs::kSequenceVideoProperties, "DD0D9EEA-2665-4332-AF1B-8C9E56ECE56D"},
          Known{IDs::kRenderableCutlistProvider, "52A4E49C-E8AB-488F-BEF6-EBE4DA165E38"},
          Known{IDs::kRenderableExtendedStillInfo, "7D228CC9-6B2E-41D7-8952-498FB74682DB"},
          Known{IDs::kAsyncVideoSource, "41B7A3D3-1B0F-4317-AC0A-93CE19CF2AD5"},
          Known{IDs::kPreviewNode, "41CD3EBD-AFB0-4E65-8B3F-69C15A786856"},
          Known{IDs::kTimelineSuiteObject, "3BD8DA8B-063A-4F76-91EA-5B1DB6B603FC"},
          Known{IDs::kClipSuiteObject, "228373CE-7619-4BB3-9BF3-15832B224C68"},
          Known{IDs::kAcceleratedSequenceRenderer, "500ADFBF-DDD3-4A21-A750-C276A246C4F3"}})
    {
        EXPECT_EQ(std::string(known.mID.AsUTF8String()), known.mText);
    }
}

} // namespace
