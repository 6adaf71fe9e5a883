#pragma once

#include <boost/function.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

// The Boost types that stand in signatures. Calling an empty boost::function throws
// boost::bad_function_call, whose text callers see; std::function says something else.
//
// Thread-safety: aliases only.
namespace norvik
{

// Work without argument and result, as executors take it.
using Function = boost::function<void()>;

} // namespace norvik
