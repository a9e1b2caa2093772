// pm/index/record_index.cpp - when a window is built, and where it lies.

#include "pm/index/record_index.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "pm/index/index_state.h"
#include "pm/pm_layer_state.h"
#include "pm/pm_state.h"

namespace {

constexpr uint32_t kSlack = kWordBytes;  // entries behind an array's last one
constexpr uint32_t kFields = kFieldLimit + kWordBytes;
constexpr uint32_t kPause = 16;  // records, after one longer than a window

// One piece of memory for all arrays: nothing of it is touched before it is used.
struct Arrays {
    uint32_t before_first[16];  // field_end[-1] is the last of these, always 0
    uint32_t field_end[kFields + kSlack];
    uint32_t record_end[kFields + kSlack];
    uint32_t before_first_record[16];
    uint32_t record_fields[kFields + kSlack];
    uint32_t offsets[kFields + kSlack], lengths[kFields + kSlack];
    uint32_t odd[kWindowLimit + kSlack];
    uint8_t indicators[kFields + kSlack], regular[kFields + kSlack];
    uint8_t packed[kWindowLimit + 2 * kWordBytes];
};

static_assert(offsetof(Arrays, field_end) == sizeof(uint32_t) * 16);

bool IsMark(uint8_t byte)
{
    const IndexMarks &marks = pmIndexMarks;
    return byte == marks.delimiter || byte == marks.escapes[0] || byte == marks.escapes[1] ||
           (marks.quotes && byte == marks.quote);
}

// Whether the literal reader, at this place of this file, would go by nothing but what the kernels see.
bool IsIndexable(const pmFile *file)
{
    const uint8_t *eor = file->EOR;
    if (pmIndexMarks.columns == 0 || bLiteralReader != 0 || file->MMToken != pmfp ||
        file->BeginningOfFile != 0 || file->TraceLvl > 3)
        return false;
    if (file->EORLength == 2 && eor[0] != eor[1])
        return !IsMark(eor[0]) && !IsMark(eor[1]);
    return file->EORLength == 1 && !IsMark(eor[0]);
}

void BuildWindow(pmFile *file)
{
    IndexWork &work = pmIndex.work;
    const bool two = file->EORLength == 2;
    work.data = file->Buffer + file->BufferPosition;
    work.length = std::min(file->BufferEnd - file->BufferPosition, kWindowLimit);
    work.eor[0] = file->EOR[0];
    work.eor[1] = file->EOR[two ? 1 : 0];
    work.eor_of_two = two;
    pmBuildIndex(work);
    // A record beyond the file's own limit is an error that only the reader reports.
    if (file->BufferSize < kWindowLimit) {
        for (uint32_t r = 0, begin = 0; r < work.records; ++r) {
            work.regular[r] &= work.record_end[r] - begin <= file->BufferSize;
            begin = work.record_end[r] + file->EORLength;
        }
    }
    pmIndex.file = work.records != 0 ? file : nullptr;
    pmIndex.base = pmIndex.position = file->BufferPosition;
    pmIndex.next = pmIndex.settled = 0;
    if (work.records == 0 && work.length == kWindowLimit)
        pmIndex.pause = kPause;
}

}  // namespace

bool SetIndexMarks(const IndexMarks &marks)
{
    FreeIndex();
    if (marks.columns == 0)
        return true;
    const auto columns = static_cast<size_t>(marks.columns);
    auto *arrays = static_cast<Arrays *>(malloc(sizeof(Arrays)));
    auto *limits = static_cast<uint32_t *>(malloc((columns + kSlack) * sizeof(uint32_t)));
    if (arrays == nullptr || limits == nullptr) {
        free(arrays);
        free(limits);
        return false;
    }
    memset(arrays->before_first, 0, sizeof arrays->before_first);
    memset(arrays->before_first_record, 0, sizeof arrays->before_first_record);
    for (size_t i = 0; i < columns + kSlack; ++i)
        limits[i] = i < columns && marks.maximums[i] != 0 ? marks.maximums[i] : ~0U;
    pmIndexMarks = marks;
    const char *wanted = getenv("FENWIRE_INDEX");
    pmBuildIndex =
        wanted != nullptr && strcmp(wanted, "bytes") == 0 ? BuildIndexByBytes : BuildIndexByVectors;
    if (wanted != nullptr && strcmp(wanted, "off") == 0)
        pmIndexMarks.columns = 0;
    IndexWork &work = pmIndex.work;
    work.marks = &pmIndexMarks;
    work.limits = limits;
    work.record_end = arrays->record_end;
    work.record_fields = arrays->record_fields;
    work.field_end = arrays->field_end;
    work.odd = arrays->odd;
    work.packed = arrays->packed;
    work.offsets = arrays->offsets;
    work.lengths = arrays->lengths;
    work.indicators = arrays->indicators;
    work.regular = arrays->regular;
    return true;
}

void FreeIndex()
{
    if (pmIndex.work.field_end != nullptr)
        free(reinterpret_cast<char *>(pmIndex.work.field_end) - offsetof(Arrays, field_end));
    free(const_cast<uint32_t *>(pmIndex.work.limits));
    pmIndex = {};
    pmIndexMarks = {};
}

bool FindIndexed(pmFile *file, uint32_t *length)
{
    if (pmIndex.file != file || pmIndex.next >= pmIndex.work.records ||
        pmIndex.position != file->BufferPosition) {
        pmIndex.file = nullptr;
        if (!IsIndexable(file))
            return false;
        if (pmIndex.pause != 0) {
            --pmIndex.pause;
            return false;
        }
        BuildWindow(file);
        if (pmIndex.file == nullptr)
            return false;
    }
    const uint32_t end = pmIndex.base + pmIndex.work.record_end[pmIndex.next++];
    *length = end - file->BufferPosition;
    pmIndex.position = end + file->EORLength;
    pmIndex.settled = pmIndex.next;
    pmIndex.served = 1;
    return true;
}
