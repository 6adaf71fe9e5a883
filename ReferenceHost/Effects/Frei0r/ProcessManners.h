// How a process behaves that this one makes for plug-ins.
//
// Thread-safety: for the child of a fork, before it does anything else.
#pragma once

namespace Frei0r
{

// Nothing of the parent's manners is left: what ends it, ends it, without a word and without a core file. Of
// its open files it keeps inKept alone, and nothing on the three streams.
void BecomePluginProcess(int inKept);

} // namespace Frei0r
