// fileset/paths.cpp - directory and name as one path.

#include <cstdio>
#include <cstring>

#include "fileset/fileset.h"

void EndWithSeparator(char *path, size_t room)
{
    const size_t length = strlen(path);
    if (length > 0 && path[length - 1] != SG_PathSeparater[0] && length + 1 < room)
        memcpy(path + length, SG_PathSeparater, 2);
}

void ComposeFullPath(char *to, size_t room, const char *name)
{
    const bool alone = strchr(name, SG_PathSeparater[0]) != nullptr;
    snprintf(to, room, "%s%s", alone ? "" : DirInfo.DirName, name);
}
