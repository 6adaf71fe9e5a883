// The situations that are explored, each in a few variants.
//
// Thread-safety: called by the controlling thread, before a run.
#pragma once

#include "Tests/ScheduleExplorer/World.h"

#include <vector>

namespace ScheduleExplorer
{

struct Scenario
{
    const char* mName;
    int mVariants;
    void (*mPrepare)(World& ioWorld, int inVariant); // starts the threads
};

const std::vector<Scenario>& Scenarios();

} // namespace ScheduleExplorer
