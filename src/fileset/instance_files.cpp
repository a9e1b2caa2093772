// fileset/instance_files.cpp - the files of this instance, one after the other.
//
// GetAllFileNames takes this instance's elements out of FileNames into a list of nodes;
// GetNextFileName walks it. CountCurrent is the place in the list, so that a list that is read anew
// finds the current file again.

#include <cstdio>
#include <cstring>

#include "fileset/directory_calls.h"
#include "fileset/fileset.h"
#include "operator/messages.h"

namespace {

// A node and its name in one block.
FileNode *NewNode(const FileNamesEntry &entry, int32_t index)
{
    const size_t name_bytes = strlen(entry.Name) + 1;
    auto *node = static_cast<FileNode *>(directory_calls.calloc(1, sizeof(FileNode) + name_bytes));
    if (node == nullptr)
        return nullptr;
    node->Status = entry.Status;
    node->Size = entry.Size;
    node->Index = index;
    node->Time = entry.Time;
    node->BadRecords = entry.BadRecords;
    node->Name = reinterpret_cast<char *>(node + 1);
    memcpy(node->Name, entry.Name, name_bytes);
    return node;
}

PxStatus NoMemoryForNode(const char *name)
{
    char bytes[24];
    snprintf(bytes, sizeof bytes, "%zu", sizeof(FileNode) + strlen(name) + 1);
    FW_ERROR("Unable to allocate %s bytes for the list of files", bytes);
    FW_Message<19140>(bytes);
    return PXSTC_Storage;
}

void TraceLocalFiles(int32_t count)
{
    FW_TRACE(1, "LOCAL files for instance %d: %d", ThisInstance, count);
    for (const FileNode *node = FirstFileNode; node != nullptr; node = node->Next)
        FW_TRACE(1, "%c %5d status %d, size %lld: '%s'", node == CurrentFileNode ? '>' : ' ',
                 node->Index, node->Status, static_cast<long long>(node->Size), node->Name);
}

// The node's file becomes the current one, in FileNames too.
PxStatus TakeFile(FileNode *node)
{
    node->Status = kInProcess;
    CurrentFile = {};
    CurrentFile.Status = kInProcess;
    CurrentFile.Instance = ThisInstance;
    CurrentFile.Size = node->Size;
    CurrentFile.Time = node->Time;
    snprintf(CurrentFile.Name, sizeof CurrentFile.Name, "%s", node->Name);
    CurrentFileIndex = node->Index;
    return UpdateFileEntry(node->Index, &CurrentFile);
}

}  // namespace

void FreeFileNodes()
{
    while (FirstFileNode != nullptr) {
        FileNode *next = FirstFileNode->Next;
        free(FirstFileNode);
        FirstFileNode = next;
    }
    CurrentFileNode = nullptr;
}

PxStatus GetAllFileNames()
{
    FileNamesEntry entry;
    FileNode *end = nullptr;
    int32_t local = 0;

    FreeFileNodes();
    FW_TRACE(1, "GLOBAL files in scan for all instances: %d", DirInfo.FileCount);
    for (int32_t index = 1; index <= DirInfo.FileCount; ++index) {
        if (const PxStatus status = ReadFileEntry(index, &entry))
            return status;
        FW_TRACE(1, "%5d instance %d, status %d, size %lld: '%s'", index, entry.Instance,
                 entry.Status, static_cast<long long>(entry.Size), entry.Name);
        if (entry.Instance != ThisInstance)
            continue;
        FileNode *node = NewNode(entry, index);
        if (node == nullptr)
            return NoMemoryForNode(entry.Name);
        node->Previous = end;
        (end != nullptr ? end->Next : FirstFileNode) = node;
        end = node;
        if (local++ == CountCurrent)
            CurrentFileNode = node;
    }
    TraceLocalFiles(local);
    return PXSTC_Success;
}

PxStatus GetNextFileName(int32_t wanted_status)
{
    if (wanted_status != kPending && wanted_status != kInProcess) {
        FW_ERROR("Invalid status (%d) of a file was asked for", wanted_status);
        return FW_Fatal<19242>();
    }
    if (wanted_status == kPending && CurrentFileNode != nullptr) {
        ++CountCurrent;
        CurrentFileNode = CurrentFileNode->Next;
    }
    if (CurrentFileNode == nullptr)
        return PXSTC_EndOfData;
    if (CurrentFileNode->Status != wanted_status) {
        FW_WARN(1, "Selected file '%s' is not available (status %d), generating EndOfData",
                CurrentFileNode->Name, CurrentFileNode->Status);
        return PXSTC_EndOfData;
    }
    return TakeFile(CurrentFileNode);
}
