// The render service of a process, which goes down for good: after that nothing is rendered any more.
//
// Thread-safety: none.
#pragma once

namespace SessionTests
{

// Set by tests that take the service down. Tests that render with it can't follow them in one process; each has a
// process of its own where a build runs them.
inline bool sIsServiceDown = false;

} // namespace SessionTests
