#pragma once

#include "norvik/logging/Logging.h"

namespace norvik::logging
{

// Shows a record on the error stream and hands it to the sink, whatever the threshold says: a trace channel
// that was switched on is shown. Never throws.
//
// Thread-safety: safe.
void EmitRecord(const boost::shared_ptr<LogMessage>& inMessage) noexcept;

// The record as one line of text, without time and level:
//   [channel] text {name=value, name=value} (function)
//
// Thread-safety: pure.
std::string FormatRecord(const LogMessage& inMessage);

} // namespace norvik::logging
