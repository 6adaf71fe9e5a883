// Memory that is freed in a run is not used again before the run ends.
//
// So no two objects of a run have the same address, which tells them apart, and whoever uses one that has gone
// meets nothing else in its place. The program's operator delete and the small blocks of the host come here.
// Under the address sanitizer they don't: it has a quarantine of its own.
//
// Thread-safety: one thread; before the first run any.
#pragma once

namespace ScheduleExplorer
{

// From here to its end.
class Quarantine
{
public:
    Quarantine();
    ~Quarantine();
    Quarantine(const Quarantine&) = delete;
    Quarantine& operator=(const Quarantine&) = delete;

    static void Free(void* inBlock) noexcept;
};

} // namespace ScheduleExplorer
