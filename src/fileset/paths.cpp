// fileset/paths.cpp - directory and name as one path.

#include <cstdio>
#include <cstring>

#include "fileset/fileset.h"

void ComposeFullPath(char *to, size_t room, const char *name)
{
    const bool alone = strchr(name, SG_PathSeparater[0]) != nullptr;
    snprintf(to, room, "%s%s", alone ? "" : DirInfo.DirName, name);
}
