#pragma once

#include "Platform.h"
#include "norvik/threads/Threads.h"

// The four executors that host and library share. They belong to the host, which makes them before the
// library starts and stops them after it has ended; before and after they are null.
//
// Thread-safety: read by any thread while the host is up; written by the host alone, with no reader about.
namespace ML
{

// Render passes for requests of normal priority: one thread for each processor.
ML_EXPORT extern boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sNormalPriorityRenderQueue;

// Render passes for requests of low priority: half of the processors, so that they never fill the machine.
ML_EXPORT extern boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sLowPriorityRenderQueue;

// Reads of movies ahead of time: half of the processors, but two at least, as a read may wait for its file.
ML_EXPORT extern boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sVideoSourcePrefetcherQueue;

// Reads of stills, and waking sources from rest, which may block for as long as a file takes to open: a
// second thread keeps the others from starving.
ML_EXPORT extern boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sImageSourcePrefetcherQueue;

} // namespace ML
