// What is said when a stream that reads by itself has not delivered.
//
// Thread-safety: safe.
#pragma once

#include "BE/IVideoSource.h"
#include "norvik/utility/StringTypes.h"

namespace ML::VideoSourcePrefetcher
{

// One log record, and a trace line where the channel is traced.
void ReportAsyncTimeOut(const norvik::WString& inMediaName, const norviktypes::TickTime& inTime,
                        const BE::IVideoSourceRef& inSource);

} // namespace ML::VideoSourcePrefetcher
