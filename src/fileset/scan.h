// fileset/scan.h - from directory entries to elements of FileNames.
//
// A directory is read twice: the first pass counts the files that match, so that FileNames can be
// created with its size; the second stores them. The directory may change in between. Files that came
// end the job (19223), since nobody could say which of them are whole; files that went are left out.

#ifndef FENWIRE_FILESET_SCAN_H
#define FENWIRE_FILESET_SCAN_H

#include <cstdint>

#include "fileset/wildcard.h"
#include "infrastructure/infrastructure.h"

enum class ScanPass : uint8_t { Count, Store };

struct FileScan {
    ScanPass pass = ScanPass::Count;
    int32_t files = 0;     // accepted in this pass
    int32_t instance = 1;  // provisional instance of the next file: dealt in turn
    int32_t status = 1;    // its status: each instance's first file is taken at once
};

struct AcceptedFile {
    const char *name;
    int32_t mode;
    int64_t size;
    int32_t time;
};

// Counts the file, or stores it as element scan.files + 1.
PxStatus ProcessAcceptedFile(FileScan &scan, const AcceptedFile &file);

// One pass over the directory of DirInfo.
PxStatus TallyFiles(FileScan &scan, const WildcardPattern &pattern);

#endif
