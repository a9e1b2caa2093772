// attributes/file_attributes.cpp - the file, its format, and what is done with columns that do not fit.

#include <cstdio>
#include <cstring>

#include "attributes/attribute_table.h"
#include "attributes/attributes.h"
#include "attributes/delimited_attributes.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "pm/utf8_validation.h"

namespace {

bool Producer() { return OperatorType == 1; }
bool Consumer() { return OperatorType != 1; }
bool Delimited() { return strcmp(FormatWord, "DELIMITED") == 0; }

constexpr uint32_t kTextFormat = 1;  // TEXT and DELIMITED
constexpr uint16_t kRead = 1, kWrite = 2, kWriteAppend = 3;

// ---- File name ----

PxStatus CheckFileName()
{
    if (FW_FileName[0] != '\0' || bIOviaAccessModule != 0)
        return PXSTC_Success;
    FW_ERROR("A file name is required with no access module");
    return FW_AttributeFatal<19239>("FileName");
}

PxStatus NoFileName()
{
    if (bIOviaAccessModule != 0) {
        FW_TRACE(1, "%s attribute not specified, access module input needs none", "FileName");
        return PXSTC_Success;
    }
    FW_ERROR("A file name is required with no access module");
    return FW_AttributeFatal<19201>("FileName");
}

// ---- Open mode ----

PxStatus DefaultOpenMode()
{
    const char *word = Producer() ? "Read" : "Write";
    FW_OpenMode = Producer() ? kRead : kWrite;
    snprintf(OpenModeWord, sizeof OpenModeWord, "%s", Producer() ? "READ" : "WRITE");
    FW_TRACE(1, "%s %s '%s' %s.", "OpenMode", "attribute not specified, default", word,
             "being used");
    FW_Message<19203>("OpenMode", word);
    return PXSTC_Success;
}

bool EndsInZip()
{
    const size_t length = strlen(FW_FileName);
    return length >= 4 && strcmp(FW_FileName + length - 4, ".zip") == 0;
}

PxStatus SettleOpenMode()
{
    Reading = FW_OpenMode == kRead ? 1 : 0;
    if (ThisInstance == 1 && FW_OpenMode == kWriteAppend && EndsInZip()) {
        FW_ERROR("'%s' '%s' can not be used with a zip file", "OpenMode", OpenModeWord);
        return FW_AttributeFatal<19251>("OpenMode", static_cast<const char *>(OpenModeWord));
    }
    if (Consumer() && TotalInstances > 1)
        FW_TRACE(1, "File name for this instance is '%s-%d'", FW_FileName, ThisInstance);
    if (FW_RestartMode == 0 || FW_OpenMode != kWrite)
        return PXSTC_Success;
    FW_TRACE(1, "OpenMode changed from '%s' to 'WRITEAPPEND'", OpenModeWord);
    FW_OpenMode = kWriteAppend;
    snprintf(OpenModeWord, sizeof OpenModeWord, "%s", "WRITEAPPEND");
    FW_Message<19206>("OpenMode", static_cast<const char *>(OpenModeWord));
    return PXSTC_Success;
}

// ---- Format ----

PxStatus CheckFormat()
{
    const char *format = FormatWord;
    if (FileFormat != kTextFormat)
        return PXSTC_Success;
    if (bUnsupportedCharacterSet != 0) {
        FW_ERROR("'%s' %s ('%s')", format,
                 "data can not be processed with an unsupported character set", SG_CharsetName);
        return FW_AttributeFatal<19465>();
    }
    if (SG_IndicatorData == kYes) {
        FW_ERROR("'%s' not allowed with data format '%s'", "IndicatorMode", format);
        return FW_AttributeFatal<19208>("IndicatorMode", format);
    }
    return PXSTC_Success;
}

// ---- UTF-8 ----

char validation_word[8];

bool ValidUtf8Given() { return Valid_UTFX != 0; }

PxStatus SettleValidation()
{
    constexpr uint32_t kWithWindows1252 = 2;
    static constexpr char kName[] = "ValidUTF8", kSet[] = "SYSTEM_CharSetId";
    const char *name = kName, *word = validation_word, *set = kSet, *format = FormatWord;
    if (CharSetFamily != kFamilyUtf8) {
        FW_ERROR("Attribute %s ('%s') requires attribute %s be '%s' or '%s'", name, word, set,
                 "UTF8", "63");
        return FW_AttributeFatal<19244>(name, word, set, "UTF8", "63");
    }
    if (!Delimited()) {
        FW_ERROR("'%s' is not allowed with data format '%s'.", name, format);
        return FW_AttributeFatal<19208>(name, format);
    }
    SetupUTF8Validation(Valid_UTFX == kWithWindows1252);
    bTruncateUTF8 = 1;
    FW_TRACE(1, "%s: '%s'", name, word);
    return PXSTC_Success;
}

PxStatus NoteReplacement()
{
    FW_TRACE(1, "%s: %s", "ReplacementUTF8Char", "White-Space 0x'E296A1'");
    return PXSTC_Success;
}

PxStatus TakeReplacement()
{
    if (SetUTF8Replacement(reinterpret_cast<const uint8_t *>(ReplacementUTF8Char), 1) == 1)
        return PXSTC_Success;
    FW_ERROR("Attribute '%s' value is invalid.  A Valid UTF8 value must be provided.",
             "ReplacementUTF8Char");
    return FW_AttributeFatal<19245>("ReplacementUTF8Char");
}

PxStatus ReadDelimited() { return ReadDelimitedAttributes(); }

PxStatus Compose()
{
    ComposeParsingCase();
    return PXSTC_Success;
}

// ---- Byte order mark ----

bool HasByteOrderMark(const char *set)
{
    for (const char *known : {"UTF16", "62", "UTF8", "63"}) {
        if (strcmp(set, known) == 0)
            return true;
    }
    return false;
}

// By the format code. Kept: the words are not those of their codes, and jobs are known to look for them.
constexpr char kBomFormats[9][13] = {
    "TEXT",      "FORMATTED",  "FORMATTED2", "BINARY", "UNFORMATTED",
    "DELIMITED", "FORMATTED4", "BINARY4",    "",
};

// Each test warns and drops the mark; the job goes on without it.
PxStatus CheckWriteBom()
{
    static constexpr char kName[] = "WriteBOM";
    const char *name = kName, *set = SG_CharSetName;
    if (bWriteBOM != kYes)
        return PXSTC_Success;
    if (Producer()) {
        FW_WARN(1, " %s '%s' %s", "Attribute", name,
                "='Yes' is valid only with Consumer instance.");
        FW_AttributeMessage<19246>(name);
        bWriteBOM = kNo;
    }
    if (!HasByteOrderMark(set)) {
        FW_WARN(1, " %s '%s' %s '%s' %s", "Attribute", name, "='Yes' is not valid with", set,
                "character set.");
        FW_AttributeMessage<19249>(name, set);
        bWriteBOM = kNo;
    }
    if (FileFormat != kTextFormat) {
        FW_WARN(1, " %s '%s' %s %s or %s %s", "Attribute", name, "='Yes' is valid only with",
                "TEXT", "DELIMITED", " formats");
        FW_AttributeMessage<19208>(name, static_cast<const char *>(kBomFormats[FileFormat]));
        bWriteBOM = kNo;
    }
    return PXSTC_Success;
}

// ---- Buffer size ----

int32_t io_buffer_size;  // read and forgotten

PxStatus NoteIoBufferSize()
{
    FW_TRACE(3, "%s attribute found, value = %d - %s attribute is deprecated and will be ignored",
             "IOBufferSize", io_buffer_size, "IOBufferSize");
    return PXSTC_Success;
}

PxStatus ResetBufferSize()
{
    BufferSize = -1;
    return PXSTC_Success;
}

// ---- Bad rows ----

bool PreviousNameAbsent() { return bAttributeSeen == 0; }
bool NoErrorFileYet() { return SG_RowErrFileName[0] == '\0'; }
bool ErrorFileNamed() { return SG_RowErrFileName[0] != '\0'; }
bool ErrorFileInUse() { return SG_pmFpErrors != 0; }

PxStatus NoteIgnored(const char *name)
{
    FW_TRACE(1, "Definition of attribute %s ignored", name);
    return PXSTC_Success;
}

PxStatus CheckErrorLimit()
{
    if (ErrorFileInUse()) {
        FW_TRACE(1, "%s: '%d'", "ErrorLimit", SG_ErrorRowLimit);
        return PXSTC_Success;
    }
    SG_ErrorRowLimit = -1;
    return NoteIgnored("ErrorLimit");
}

PxStatus ReadErrorPrefix()
{
    if (ErrorFileInUse()) {
        const int32_t result = GetSpecialChars("RecordErrorFilePrefix", "RecordErrorFilePrefixHEX",
                                               &RowErrFilePrefixChar, nullptr);
        return result == PXSTC_NotFound ? PXSTC_Success : result;
    }
    for (const char *name : {"RecordErrorFilePrefix", "RecordErrorFilePrefixHEX"}) {
        if (IsGiven(name))
            NoteIgnored(name);
    }
    return PXSTC_Success;
}

PxStatus CheckErrorVerbosity()
{
    if (ErrorFileInUse()) {
        FW_TRACE(1, "%s: '%d'", "RecordErrorVerbosity", RowErrorVerbosity);
        return PXSTC_Success;
    }
    RowErrorVerbosity = 0;
    FW_TRACE(1, "%s: '%s' (IGNORED)", "RecordErrorVerbosity", "OFF");
    return NoteIgnored("RecordErrorVerbosity");
}

// ---- Close ----

PxStatus EchoFile()
{
    if (FW_FileName[0] != '\0')
        FW_TRACE(1, "%s: '%s'", "FileName", FW_FileName);
    FW_TRACE(1, "%s: '%s' (%d)", "OpenMode", OpenModeWord, FW_OpenMode);
    FW_TRACE(1, "%s: '%s' (%d)", "Format", FormatWord, FileFormat);
    return PXSTC_Success;
}

// clang-format off
constexpr AttrWord kProducerModes[] = {{"READ", kRead}};
constexpr AttrWord kConsumerModes[] = {{"WRITE", kWrite}, {"WRITEAPPEND", kWriteAppend}};
constexpr AttrWord kFormats[] = {
    {"TEXT", 1}, {"DELIMITED", 1}, {"BINARY", 2}, {"FORMATTED", 3}, {"FORMATTED2", 5}, {"BINARY4", 6}, {"FORMATTED4", 7}, {"UNFORMATTED", 8},
};
constexpr AttrWord kValidations[] = {{"UTF8", 1}, {"UTFX", 2}};
constexpr AttrWord kVerbosities[] = {
    {"OFF", 0}, {"O", 0}, {"LOW", 1}, {"L", 1}, {"MED", 2}, {"M", 2}, {"HIGH", 3}, {"H", 3},
};
constexpr char kHadoop[] = "Hadoop";

constexpr AttributeRow kHadoopAttributes[] = {
    {.name = "HadoopUser",                  .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopPassword",              .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopJobType",               .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopFileFormat",            .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopSeparator",             .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopNumMappers",            .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopSourcePaths",           .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopTargetPaths",           .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopSourceDatabase",        .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopSourceTable",           .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopSourceTableSchema",     .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopSourcePartitionSchema", .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopSourceFieldNames",      .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopTargetTable",           .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopTargetTableSchema",     .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopTargetPartitionSchema", .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopTargetFieldNames",      .kind = AttrKind::Refused, .feature = kHadoop},
    {.name = "HadoopTargetDatabase",        .kind = AttrKind::Refused, .feature = kHadoop},
};
static_assert(RowsAreSound(kHadoopAttributes));

constexpr AttributeRow kFileAttributes[] = {
    {.name = "FileName",   .kind = AttrKind::Text, .target = &FW_FileName, .on_given = CheckFileName, .on_absent = NoFileName},
    {.name = "OpenMode",   .kind = AttrKind::Word, .target = &FW_OpenMode, .limit = 12, .words = kProducerModes, .valid = "Read",
     .keep = &OpenModeWord, .wanted = Producer, .on_absent = DefaultOpenMode},
    {.name = "OpenMode",   .kind = AttrKind::Word, .target = &FW_OpenMode, .limit = 12, .words = kConsumerModes, .valid = "Write or WriteAppend",
     .keep = &OpenModeWord, .wanted = Consumer, .on_absent = DefaultOpenMode},
    {.name = "OpenMode",   .kind = AttrKind::Rule, .rule = SettleOpenMode},
    {.name = "Format",     .kind = AttrKind::Word, .target = &FileFormat, .required = true, .limit = 20, .words = kFormats,
     .valid = "TEXT, FORMATTED, BINARY, FORMATTED4, BINARY4, UNFORMATTED or DELIMITED", .keep = &FormatWord},
    {.name = "Format",     .kind = AttrKind::Rule, .rule = CheckFormat},
    {.name = "ValidUTF8",  .kind = AttrKind::Word, .target = &Valid_UTFX, .limit = 200, .words = kValidations, .valid = "UTF8 or UTFX",
     .keep = &validation_word, .on_given = SettleValidation},
    {.name = "ReplacementUTF8Char",   .kind = AttrKind::Text, .target = &ReplacementUTF8Char, .limit = 1, .exact = true,
     .wanted = ValidUtf8Given, .on_given = TakeReplacement, .on_absent = NoteReplacement},
    {.name = "delimited",  .kind = AttrKind::Rule, .wanted = Delimited, .rule = ReadDelimited},
    {.name = "UseGeneralUDDIcase",    .kind = AttrKind::YesNo,   .target = &bUseGeneralUDDIcase},
    {.name = "parsing case",          .kind = AttrKind::Rule,    .rule = Compose},
    {.name = "WriteBOM",              .kind = AttrKind::YesNo,   .target = &bWriteBOM},
    {.name = "WriteBOM",              .kind = AttrKind::Rule,    .rule = CheckWriteBom},
    {.name = "IOBufferSize",          .kind = AttrKind::Integer, .target = &io_buffer_size, .on_given = NoteIoBufferSize},
    {.name = "buffer size",           .kind = AttrKind::Rule,    .rule = ResetBufferSize},
    {.name = "AcceptExcessColumns",   .kind = AttrKind::YesNo,   .target = &SG_AcceptExcessColumns, .mode = 2},
    {.name = "AcceptMissingColumns",  .kind = AttrKind::YesNo,   .target = &SG_AcceptMissingColumns, .mode = 2},
    {.name = "TruncateColumnData",    .kind = AttrKind::YesNo,   .target = &TruncateColumnsOpt, .mode = 2},
    {.name = "TruncateColumns",       .kind = AttrKind::YesNo,   .target = &TruncateColumnsOpt, .mode = 2, .wanted = PreviousNameAbsent},
    {.name = "TruncateLongCols",      .kind = AttrKind::YesNo,   .target = &TruncateColumnsOpt, .mode = 2, .wanted = PreviousNameAbsent},
    {.name = "RecordErrorFileName",   .kind = AttrKind::Text,    .target = &SG_RowErrFileName},
    {.name = "RowErrFileName",        .kind = AttrKind::Text,    .target = &SG_RowErrFileName, .wanted = NoErrorFileYet},
    {.name = "SYSTEM_LOGDIRECTORY",   .kind = AttrKind::Text,    .target = &SystemLogDirectory, .wanted = ErrorFileNamed},
};
static_assert(RowsAreSound(kFileAttributes));

// When the record error file is open, or is not.
constexpr AttributeRow kErrorFileAttributes[] = {
    {.name = "ErrorLimit",            .kind = AttrKind::Integer, .target = &SG_ErrorRowLimit, .absent = -1, .on_given = CheckErrorLimit},
    {.name = "RecordErrorFilePrefix", .kind = AttrKind::Rule,    .rule = ReadErrorPrefix},
    {.name = "RecordErrorVerbosity",  .kind = AttrKind::Word,    .target = &RowErrorVerbosity, .limit = 10, .words = kVerbosities,
     .valid = "Off, Low, Med, High", .on_given = CheckErrorVerbosity},
    {.name = "FileName, OpenMode, Format", .kind = AttrKind::Rule, .rule = EchoFile},
};
static_assert(RowsAreSound(kErrorFileAttributes));
// clang-format on

}  // namespace

PxStatus ReadFileAttributes()
{
    if (const PxStatus status = ReadAttributes(kHadoopAttributes))
        return status;
    return ReadAttributes(kFileAttributes);
}

PxStatus ReadErrorFileAttributes() { return ReadAttributes(kErrorFileAttributes); }
