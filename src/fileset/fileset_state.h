// fileset/fileset_state.h - the files of the job, as all instances see them.
//
// DirInfo and FileNames are infrastructure global variables with a fixed binary layout, which also
// goes into the checkpoint. The nodes are this instance's own share.

#ifndef FENWIRE_FILESET_FILESET_STATE_H
#define FENWIRE_FILESET_FILESET_STATE_H

#include <cstddef>
#include <cstdint>

struct DirInfoImage {
    char DirName[12292];  // zero-terminated, at most 4096 bytes, the rest zero
    int32_t DirNameSpecified;
    int32_t DirNameFixed;  // always 0
    int32_t PassNumber;
    int32_t EnableScan;  // -1 not yet known, 0, 1
    int32_t EndOfScan;
    int32_t EvtCkptCount, EvtRecordCount, EvtFileCount;
    int32_t FileCount;
    int32_t Processed;
    int32_t TotalInstances;
    uint32_t RowCount, RowsSkipped;
    int32_t bMultiInstanceRead;
    int32_t HadoopJobType;
    int32_t MasterReachedEOD;
};
static_assert(sizeof(DirInfoImage) == 12356 && offsetof(DirInfoImage, FileCount) == 12324 &&
              offsetof(DirInfoImage, MasterReachedEOD) == 12352);

enum FileStatus : int32_t { kPending = 0, kInProcess = 1, kFinished = 2, kArchived = 3 };

struct FileNamesEntry {
    int32_t Status;
    int32_t Instance;
    int64_t Size;
    char Name[4096];      // zero-terminated
    int32_t Time;         // modification time, seconds
    uint32_t BadRecords;  // of a finished file: its instance's bad records until then
};
static_assert(sizeof(FileNamesEntry) == 4120 && offsetof(FileNamesEntry, Time) == 4112);

struct FileNode {
    FileNode *Next, *Previous;
    int32_t Status;
    int64_t Size;
    int32_t Index;  // in FileNames, from 1
    uint32_t BadRecords;
    int32_t Time;
    char *Name;
};

// ---- The file set -----------------------------------------------------------------------------
// Writers: fileset/build.cpp fileset/output_files.cpp fileset/instance_files.cpp fileset/global_vars.cpp operator/initiate.cpp operator/end_of_file.cpp restart/restart.cpp
inline DirInfoImage DirInfo = {};
inline int32_t AllocatedFileCount = 0;  // elements of FileNames; 0: the variables do not exist
inline char DirInfoVarName[40] = "", FileNamesVarName[40] = "";
inline int32_t CountCurrent = 0;  // place in the own list of the current file, from 0
inline FileNode *FirstFileNode = nullptr, *CurrentFileNode = nullptr;
inline FileNamesEntry CurrentFile = {};  // image of the current file's element
inline int32_t CurrentFileIndex = 0;     // its index, from 1
inline char CurrentFullPath[8200] = "";  // directory and name of the current file
inline char SG_PathSeparater[2] = "/";

#endif
