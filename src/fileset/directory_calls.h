// fileset/directory_calls.h - the system calls of the directory scan, as a table that a test changes.
//
// A test makes a call fail, or lets a file come and go between two calls, by putting its own function
// in. Each test is a process of its own, so nothing has to be put back.

#ifndef FENWIRE_FILESET_DIRECTORY_CALLS_H
#define FENWIRE_FILESET_DIRECTORY_CALLS_H

#include <cstdlib>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

struct DirectoryCalls {
    DIR *(*opendir)(const char *path) = ::opendir;
    struct dirent64 *(*readdir64)(DIR *directory) = ::readdir64;
    int (*fstatat64)(int directory, const char *name, struct stat64 *found,
                     int flags) = ::fstatat64;
    int (*lstat64)(const char *path, struct stat64 *found) = ::lstat64;
    void *(*calloc)(size_t count, size_t size) = ::calloc;
};

inline DirectoryCalls directory_calls;

#endif
