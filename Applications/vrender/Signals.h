#pragma once

// What SIGINT, SIGTERM, SIGPIPE and SIGXFSZ do to the tool.
//
// Before an output is begun, SIGINT and SIGTERM end the process at once with 130 or 143: there is
// nothing to save. Once BeginOutput() was called, the first of them asks the render to stop, so
// that the trailer is written; a second one ends the process at once. SIGPIPE and SIGXFSZ are
// ignored: write() then reports the closed pipe or the full quota as an error with a cause.
//
// Thread-safety: safe. The handler itself touches lock-free atomics only.
namespace vrender::signals
{

void Install();

// From now on a signal asks instead of ending the process.
void BeginOutput();
// The output is finished or abandoned.
void EndOutput();

// The signal that asked for an end, or 0.
int Pending();

} // namespace vrender::signals
