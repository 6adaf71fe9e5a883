// Where plug-ins are looked for.
//
// FREI0R_PATH, folders separated by colons, replaces the usual places: the user's own folder, that of locally
// built software, that of the system. The folders of makers within them are looked into as well. A plug-in is
// known by the name of its file; of two with one name the one that is found first counts.
//
// Thread-safety: safe, as long as nobody changes the environment.
#pragma once

#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"

#include <string>
#include <vector>

namespace Frei0r
{

// FREI0R_PATH or the usual places, the first one first.
std::vector<std::string> SearchFolders();

// The plug-in files of those folders, by name. Folders that can't be read have none.
std::vector<PluginFileName> FindPluginFiles(const std::vector<std::string>& inFolders);

} // namespace Frei0r
