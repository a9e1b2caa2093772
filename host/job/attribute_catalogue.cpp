// host/job/attribute_catalogue.cpp - every attribute of the operator, as its user sees it.
//
// To add an attribute, add a row to its group. The about text is one or two sentences for somebody who
// never saw the attribute; limits and defaults stand in their own fields and are printed from there.

#include "host/job/attribute_catalogue.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

using enum AttributeKind;

// clang-format off
constexpr AttributeInfo kCatalogue[] = {
    // ---- Files -------------------------------------------------------------------------------------
    {.name = "DirectoryPath",              .kind = Text,             .group = AttributeGroup::Files,       .absent = "the job file's folder",
     .about = "Directory that the files are read from or written to. FileName then holds a name without a path, which may be a pattern in a step that reads."},
    {.name = "FileName",                   .kind = Text,             .group = AttributeGroup::Files,       .required = true,
     .about = "Name of the file. To read, with * in it, a pattern: every file of the directory that fits is read, dealt to the instances by size. To write, each of several instances puts a dash and its number behind the name."},
    {.name = "EnableScan",                 .kind = YesNo,            .group = AttributeGroup::Files, .side = AttributeSide::Producer, .absent = "Yes",
     .about = "Whether a * in FileName is a pattern. With No the name is taken as it stands."},
    {.name = "FileList",                   .kind = YesNo,            .group = AttributeGroup::Files,       .support = Support::NoOnly, .feature = "file lists", .absent = "No",
     .about = "FileName names a list of files instead of a file."},
    {.name = "OpenMode",                   .kind = Word,             .group = AttributeGroup::Files,       .absent = "Read, or Write for a step that writes", .words = "Read", .when_writing = "Write WriteAppend",
     .about = "How files are opened. Write begins a file anew, whatever it held; WriteAppend goes on behind what a file holds that is there already."},
    {.name = "NamedPipeTimeOut",           .kind = Integer,          .group = AttributeGroup::Files, .side = AttributeSide::Producer, .absent = "0", .absent_passes = true, .minimum = 0,
     .about = "Seconds to wait for data of a named pipe; 0 waits for ever."},
    {.name = "TimeOut",                    .kind = Integer,          .group = AttributeGroup::Files, .side = AttributeSide::Producer, .absent = "0", .absent_passes = true, .minimum = 0, .maximum = 99999,
     .about = "Seconds that an access module may wait for data; 0 sets no limit."},
    {.name = "IOBufferSize",               .kind = Integer,          .group = AttributeGroup::Files,       .support = Support::Ignored,
     .about = "Of earlier versions; the size of the buffers is chosen by the operator."},

    // ---- Format ------------------------------------------------------------------------------------
    {.name = "Format",                     .kind = Word,             .group = AttributeGroup::Format,      .required = true, .words = "Delimited Text Formatted Formatted4 Binary Binary4 Unformatted", .also = "Formatted2",
     .about = "Layout of the files. Delimited: columns separated by TextDelimiter, one record a line. Text: columns of fixed width, one record a line. The others hold binary rows: Formatted with a length in front and a line end behind, Binary with a length, Unformatted with neither; a 4 stands for lengths of four bytes."},
    {.name = "IndicatorMode",              .kind = YesNo,            .group = AttributeGroup::Format,      .absent = "No",
     .about = "Records begin with bytes that say which columns are NULL. For the binary formats; without it they can't tell NULL from a value of zeros."},
    {.name = "EndianFlip",                 .kind = YesNo,            .group = AttributeGroup::Format,      .absent = "No",
     .about = "Exchanges the byte order of binary fields. Text and delimited files have none."},
    {.name = "AcceptEOFasEOR",             .kind = YesNo,            .group = AttributeGroup::Format,      .side = AttributeSide::Producer, .absent = "Yes",
     .about = "The end of a file also ends its last record, so that a last line without its line end is read. With No such a line is an error."},
    {.name = "WriteBOM",                   .kind = YesNo,            .group = AttributeGroup::Format,      .side = AttributeSide::Consumer, .absent = "No", .absent_passes = true,
     .about = "Begins each written file with a byte order mark. For text and delimited data in UTF8 or UTF16; elsewhere a warning is all that comes of it."},
    {.name = "ValidUTF8",                  .kind = Word,             .group = AttributeGroup::Format, .side = AttributeSide::Reading, .words = "UTF8 UTFX",
     .about = "A column of delimited UTF-8 data that is longer than its type is cut, at the end of a character. Needs charset UTF8. Bytes that are no UTF-8 stay as they are in this version, with either word."},
    {.name = "ReplacementUTF8Char",        .kind = Text,             .group = AttributeGroup::Format, .side = AttributeSide::Reading, .support = Support::Ignored, .max_bytes = 1,
     .about = "Character to take the place of invalid UTF-8. Looked at with ValidUTF8 only."},

    // ---- Delimiters, quotes, escapes ---------------------------------------------------------------
    {.name = "TextDelimiter",              .kind = Mark,             .group = AttributeGroup::Marks,       .absent = "|", .partner = "TextDelimiterHEX",
     .about = "What separates the columns of a record. TAB in it stands for the tab character."},
    {.name = "TextDelimiterHEX",           .kind = HexMark,          .group = AttributeGroup::Marks,       .partner = "TextDelimiter",
     .about = "TextDelimiter in hexadecimal digits, in the character set of the data."},
    {.name = "EscapeTextDelimiter",        .kind = Mark,             .group = AttributeGroup::Marks,       .absent = "none", .partner = "EscapeTextDelimiterHEX",
     .about = "Stands before a delimiter that is part of a column. TAB in it stands for the tab character."},
    {.name = "EscapeTextDelimiterHEX",     .kind = HexMark,          .group = AttributeGroup::Marks,       .partner = "EscapeTextDelimiter",
     .about = "EscapeTextDelimiter in hexadecimal digits, in the character set of the data."},
    {.name = "QuotedData",                 .kind = YesNoOptional,    .group = AttributeGroup::Marks,       .absent = "No",
     .about = "Whether columns stand in quote marks: Yes all of them, Optional those that need it, No none."},
    {.name = "OpenQuoteMark",              .kind = Mark,             .group = AttributeGroup::Marks,       .absent = "the double quote, when data is quoted", .partner = "OpenQuoteMarkHEX",
     .about = "What opens a quoted column."},
    {.name = "OpenQuoteMarkHEX",           .kind = HexMark,          .group = AttributeGroup::Marks,       .partner = "OpenQuoteMark",
     .about = "OpenQuoteMark in hexadecimal digits, in the character set of the data."},
    {.name = "CloseQuoteMark",             .kind = Mark,             .group = AttributeGroup::Marks,       .absent = "the open quote mark", .partner = "CloseQuoteMarkHEX",
     .about = "What closes a quoted column. Needs OpenQuoteMark."},
    {.name = "CloseQuoteMarkHEX",          .kind = HexMark,          .group = AttributeGroup::Marks,       .partner = "CloseQuoteMark",
     .about = "CloseQuoteMark in hexadecimal digits, in the character set of the data."},
    {.name = "EscapeQuoteDelimiter",       .kind = Mark,             .group = AttributeGroup::Marks,       .absent = "none", .partner = "EscapeQuoteDelimiterHEX",
     .about = "Stands before a close quote mark that is part of a column. A doubled close quote mark always counts as one that is; so never give the quote mark itself."},
    {.name = "EscapeQuoteDelimiterHEX",    .kind = HexMark,          .group = AttributeGroup::Marks,       .partner = "EscapeQuoteDelimiter",
     .about = "EscapeQuoteDelimiter in hexadecimal digits, in the character set of the data."},
    {.name = "AppendDelimiter",            .kind = YesNo,            .group = AttributeGroup::Marks,       .side = AttributeSide::Consumer, .absent = "No", .absent_passes = true,
     .about = "Writes a delimiter behind the last column too."},
    {.name = "UseGeneralUDDIcase",         .kind = YesNo,            .group = AttributeGroup::Marks, .side = AttributeSide::Reading, .absent = "No",
     .about = "Reads with the general scanner instead of the one made for the delimiters in use: the same rows, more slowly. For finding faults."},

    // ---- Columns -----------------------------------------------------------------------------------
    {.name = "NullColumns",                .kind = YesNo,            .group = AttributeGroup::Columns, .side = AttributeSide::Reading, .absent = "Yes",
     .about = "An empty column of a delimited record is NULL. With No it is an empty text."},
    {.name = "TrimColumns",                .kind = Word,             .group = AttributeGroup::Columns,     .side = AttributeSide::Producer, .absent = "None", .words = "None Leading Trailing Both",
     .about = "Where TrimChar is taken off the columns of delimited records."},
    {.name = "TrimChar",                   .kind = Mark,             .group = AttributeGroup::Columns,     .side = AttributeSide::Producer, .absent = "a blank", .max_bytes = 1, .partner = "TrimCharHEX",
     .about = "The one byte that TrimColumns takes off."},
    {.name = "TrimCharHEX",                .kind = HexMark,          .group = AttributeGroup::Columns,     .side = AttributeSide::Producer, .partner = "TrimChar",
     .about = "TrimChar in hexadecimal digits, in the character set of the data."},
    {.name = "AcceptExcessColumns",        .kind = YesNoWithoutLog,  .group = AttributeGroup::Columns, .side = AttributeSide::Reading, .absent = "No",
     .about = "A record with more columns than the schema is accepted, without those behind. YesWithoutLog does not note such records. With No it is an error."},
    {.name = "AcceptMissingColumns",       .kind = YesNoWithoutLog,  .group = AttributeGroup::Columns, .side = AttributeSide::Reading, .absent = "No",
     .about = "A record with fewer columns than the schema is accepted, the missing ones NULL. YesWithoutLog does not note such records. With No it is an error."},
    {.name = "TruncateColumnData",         .kind = YesNoWithoutLog,  .group = AttributeGroup::Columns, .side = AttributeSide::Reading, .absent = "No",
     .about = "A column that is longer than its type is cut. YesWithoutLog does not note such records. With No it is an error."},
    {.name = "TruncateColumns",            .kind = YesNoWithoutLog,  .group = AttributeGroup::Columns, .side = AttributeSide::Reading, .absent = "No", .partner = "TruncateColumnData",
     .about = "Earlier name of TruncateColumnData; looked at when that is absent."},
    {.name = "TruncateLongCols",           .kind = YesNoWithoutLog,  .group = AttributeGroup::Columns, .side = AttributeSide::Reading, .absent = "No", .partner = "TruncateColumnData",
     .about = "Earlier name of TruncateColumnData; looked at when that and TruncateColumns are absent."},

    // ---- Rows --------------------------------------------------------------------------------------
    {.name = "RowsPerInstance",            .kind = Integer,          .group = AttributeGroup::Rows, .side = AttributeSide::Reading, .absent = "-1", .minimum = -1,
     .about = "Each instance stops after this many rows; -1 sets no limit."},
    {.name = "SkipRows",                   .kind = Integer,          .group = AttributeGroup::Rows,        .side = AttributeSide::Producer, .absent = "0", .minimum = 0,
     .about = "This many records are passed over before the first row, such as a line of column names."},
    {.name = "SkipRowsEveryFile",          .kind = YesNo,            .group = AttributeGroup::Rows, .side = AttributeSide::Producer, .absent = "No",
     .about = "SkipRows counts in each file, not once for the job."},
    {.name = "AllowBufferMode",            .kind = YesNo,            .group = AttributeGroup::Rows,        .support = Support::Ignored, .absent = "Yes",
     .about = "Rows may travel in blocks where the job allows it. This version moves them one at a time."},

    // ---- Bad records -------------------------------------------------------------------------------
    {.name = "RecordErrorFileName",        .kind = Text,             .group = AttributeGroup::BadRecords, .side = AttributeSide::Reading, 
     .about = "File that takes the records that can't be made rows, as they were read; the job goes on without them. It is begun anew by each run."},
    {.name = "RowErrFileName",             .kind = Text,             .group = AttributeGroup::BadRecords, .side = AttributeSide::Reading, .partner = "RecordErrorFileName",
     .about = "Earlier name of RecordErrorFileName."},
    {.name = "ErrorLimit",                 .kind = Integer,          .group = AttributeGroup::BadRecords, .side = AttributeSide::Reading, .absent = "-1",
     .about = "The job fails with this many bad records in the record error file, over all instances; below 1 there is no limit. Has a meaning with RecordErrorFileName only."},
    {.name = "RecordErrorFilePrefix",      .kind = Mark,             .group = AttributeGroup::BadRecords, .side = AttributeSide::Reading, .absent = "none", .partner = "RecordErrorFilePrefixHEX",
     .about = "Begins each line of remarks in the record error file. Has a meaning with RecordErrorFileName only."},
    {.name = "RecordErrorFilePrefixHEX",   .kind = HexMark,          .group = AttributeGroup::BadRecords, .side = AttributeSide::Reading, .partner = "RecordErrorFilePrefix",
     .about = "RecordErrorFilePrefix in hexadecimal digits."},
    {.name = "RecordErrorVerbosity",       .kind = Word,             .group = AttributeGroup::BadRecords, .side = AttributeSide::Reading, .absent = "Off", .words = "Off Low Med High", .also = "O L M H",
     .about = "How much the record error file says of each record: nothing; what is wrong (Low); also its file and number (Med, High). Has a meaning with RecordErrorFileName only."},

    // ---- Log ---------------------------------------------------------------------------------------
    {.name = "TraceLevel",                 .kind = Word,             .group = AttributeGroup::Log,         .absent = "statistics only", .words = "None Milestones IO_Counts IO_Buffers All",
     .about = "How much the private log of an instance tells. Without it, and without PrivateLogName, statistics only."},
    {.name = "PrivateLogName",             .kind = Text,             .group = AttributeGroup::Log,         .absent = "operator, user and process",
     .about = "Name of the private log; a dash and the instance are put behind it."},
    {.name = "TraceFunction",              .kind = YesNo,            .group = AttributeGroup::Log,         .absent = "No",
     .about = "Each line of the private log names the routine that wrote it."},
    {.name = "MaxDumpBytes",               .kind = Integer,          .group = AttributeGroup::Log,         .absent = "4096", .minimum = 0,
     .about = "Longest hexadecimal dump in the private log."},

    // ---- Several readers of one file ---------------------------------------------------------------
    {.name = "MultipleReaders",            .kind = YesNo,            .group = AttributeGroup::Readers, .side = AttributeSide::Producer, .support = Support::NoOnly, .feature = "reading one file with several instances", .absent = "No", .absent_passes = true,
     .about = "One file is read by several instances."},
    {.name = "RecordsPerBuffer",           .kind = Integer,          .group = AttributeGroup::Readers, .side = AttributeSide::Producer, .absent = "from the length of a row", .minimum = 1, .maximum = 999999,
     .about = "Records that an instance gets at a time when several read one file."},
    {.name = "RecordsPerInstance",         .kind = Integer,          .group = AttributeGroup::Readers, .side = AttributeSide::Producer, .minimum = 1, .maximum = 999999, .partner = "RecordsPerBuffer",
     .about = "Earlier name of RecordsPerBuffer; looked at when that is absent."},

    // ---- Watching a directory ----------------------------------------------------------------------
    {.name = "VigilStartTime",             .kind = TimeStamp,        .group = AttributeGroup::Vigil, .side = AttributeSide::Producer, .support = Support::Later, .feature = "watching a directory",
     .about = "When the watch over the directory begins, in local time."},
    {.name = "VigilStopTime",              .kind = TimeStamp,        .group = AttributeGroup::Vigil, .side = AttributeSide::Producer, .support = Support::Later, .feature = "watching a directory",
     .about = "When the watch over the directory ends, in local time."},
    {.name = "VigilElapsedTime",           .kind = Integer,          .group = AttributeGroup::Vigil, .side = AttributeSide::Producer, .support = Support::Later, .feature = "watching a directory", .absent = "0",
     .about = "Minutes that the watch lasts."},
    {.name = "VigilWaitTime",              .kind = Integer,          .group = AttributeGroup::Vigil, .side = AttributeSide::Producer, .support = Support::Later, .feature = "watching a directory", .absent = "60",
     .about = "Seconds between two looks into the directory."},
    {.name = "VigilNoticeFileName",        .kind = Text,             .group = AttributeGroup::Vigil, .side = AttributeSide::Producer, .support = Support::Later, .feature = "watching a directory",
     .about = "File that gets a note of how many files were read, after each look."},
    {.name = "VigilMaxFiles",              .kind = Integer,          .group = AttributeGroup::Vigil, .side = AttributeSide::Producer, .support = Support::Later, .feature = "watching a directory", .absent = "2000", .minimum = 10, .maximum = 50000,
     .about = "Most files that one look takes."},
    {.name = "VigilSortField",             .kind = Word,             .group = AttributeGroup::Vigil, .side = AttributeSide::Producer, .support = Support::Later, .feature = "watching a directory", .absent = "as found", .words = "Time Name", .also = "T N",
     .about = "Order in which files are taken."},

    // ---- Archiving ---------------------------------------------------------------------------------
    {.name = "ArchiveDirectoryPath",       .kind = Text,             .group = AttributeGroup::Archive,     .support = Support::Later, .feature = "archiving",
     .about = "Directory that finished files are moved to."},
    {.name = "ArchiveFatal",               .kind = YesNo,            .group = AttributeGroup::Archive,     .support = Support::Ignored, .absent = "Yes",
     .about = "A file that can't be moved fails the job. Has a meaning with ArchiveDirectoryPath only."},

    // ---- Access modules ----------------------------------------------------------------------------
    {.name = "AccessModuleName",           .kind = Text,             .group = AttributeGroup::Modules,     .support = Support::Later, .feature = "access modules", .max_bytes = 512,
     .about = "Library through which files are read instead of from disk."},
    {.name = "AccessModuleInitStr",        .kind = Text,             .group = AttributeGroup::Modules,     .support = Support::Later, .feature = "access modules", .max_bytes = 512,
     .about = "Text that the access module gets at its start."},

    // ---- Notification ------------------------------------------------------------------------------
    {.name = "NotifyMethod",               .kind = Word,             .group = AttributeGroup::Notify, .side = AttributeSide::Producer, .support = Support::Later, .feature = "notify exits", .absent = "None", .words = "None Msg Exit",
     .about = "How milestones of the job are told to the outside."},
    {.name = "NotifyLevel",                .kind = Word,             .group = AttributeGroup::Notify, .side = AttributeSide::Producer, .support = Support::Later, .feature = "notify exits", .absent = "Low", .words = "Off Low Medium High Ultra",
     .about = "Which milestones are told."},
    {.name = "NotifyExit",                 .kind = Text,             .group = AttributeGroup::Notify, .side = AttributeSide::Producer, .support = Support::Later, .feature = "notify exits",
     .about = "Library that is told of the milestones."},
    {.name = "NotifyString",               .kind = Text,             .group = AttributeGroup::Notify, .side = AttributeSide::Producer, .support = Support::Later, .feature = "notify exits",
     .about = "Text that goes with each milestone."},

    // ---- Hadoop ------------------------------------------------------------------------------------
    {.name = "HadoopHost",                 .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Host of the file system that the paths lie on."},
    {.name = "HadoopUser",                 .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "User on that host."},
    {.name = "HadoopPassword",             .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Password of that user."},
    {.name = "HadoopJobType",              .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Kind of a connector job."},
    {.name = "HadoopFileFormat",           .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Format of the files of a connector job."},
    {.name = "HadoopSeparator",            .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Separator of the columns in those files."},
    {.name = "HadoopNumMappers",           .kind = Integer,          .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Number of mappers of a connector job."},
    {.name = "HadoopBlockSize",            .kind = Integer,          .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop", .absent = "65536",
     .about = "Block size of written files, in KiB."},
    {.name = "HadoopSourcePaths",          .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Paths that are read."},
    {.name = "HadoopSourceDatabase",       .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Database of the table that is read."},
    {.name = "HadoopSourceTable",          .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Table that is read."},
    {.name = "HadoopSourceTableSchema",    .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Columns of that table."},
    {.name = "HadoopSourcePartitionSchema", .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Partitioning columns of that table."},
    {.name = "HadoopSourceFieldNames",     .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Columns that are read."},
    {.name = "HadoopTargetPaths",          .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Paths that are written."},
    {.name = "HadoopTargetDatabase",       .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Database of the table that is written."},
    {.name = "HadoopTargetTable",          .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Table that is written."},
    {.name = "HadoopTargetTableSchema",    .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Columns of that table."},
    {.name = "HadoopTargetPartitionSchema", .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Partitioning columns of that table."},
    {.name = "HadoopTargetFieldNames",     .kind = Text,             .group = AttributeGroup::Hadoop,      .support = Support::Later, .feature = "Hadoop",
     .about = "Columns that are written."},

    // ---- Supplied by the runner --------------------------------------------------------------------
    {.name = "SYSTEM_InstanceNumber",      .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Number of this instance, from 1."},
    {.name = "SYSTEM_MaxInstances",        .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "How many instances the step has."},
    {.name = "SYSTEM_OperatorType",        .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "1 for a producer, 2 for a consumer."},
    {.name = "SYSTEM_OperatorName",        .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Name of the step, as in messages."},
    {.name = "SYSTEM_OperatorNumber",      .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Number of the step in the job."},
    {.name = "SYSTEM_MaxOperators",        .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "How many steps the job has."},
    {.name = "SYSTEM_LATENCYON",           .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Y: bad records reach the disk at once."},
    {.name = "SYSTEM_RestartMode",         .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Not 0: the job goes on from a checkpoint."},
    {.name = "SYSTEM_CharSetId",           .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Session character set, from charset in [job]."},
    {.name = "SYSTEM_CHECKPOINT",          .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "0: the job takes no checkpoints."},
    {.name = "SYSTEM_NOCHECKPOINT",        .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Made by the operator for jobs that can't take checkpoints."},
    {.name = "SYSTEM_JobMaxRowSize_Allow", .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Size class of rows, 64 or 1024."},
    {.name = "SYSTEM_ExecutePassed",       .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Whether all rows were moved, told at the end."},
    {.name = "SYSTEM_BUFFERMODE",          .kind = Integer,          .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Whether rows travel in blocks."},
    {.name = "SYSTEM_TaskID",              .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Name of this run."},
    {.name = "SYSTEM_JobID",               .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Name of this run."},
    {.name = "SYSTEM_JobName",             .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Name of the job."},
    {.name = "SYSTEM_ScriptName",          .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "The job file."},
    {.name = "SYSTEM_LOGDIRECTORY",        .kind = Text,             .group = AttributeGroup::System,      .support = Support::Runner,
     .about = "Directory of the logs."},
};

constexpr std::string_view kGroupTitles[] = {
    "Files",
    "Format",
    "Delimiters, quotes, escapes",
    "Columns",
    "Rows",
    "Bad records",
    "Log",
    "Several readers of one file",
    "Watching a directory",
    "Archiving",
    "Access modules",
    "Notification",
    "Hadoop",
    "Supplied by the runner",
};
// clang-format on
static_assert(std::size(kGroupTitles) == static_cast<size_t>(AttributeGroup::System) + 1);

constexpr bool RowsMakeSense()
{
    for (const AttributeInfo &row : kCatalogue) {
        const bool asks = row.support == Support::NoOnly || row.support == Support::Later;
        if (row.about.empty() || asks == row.feature.empty() ||
            (row.kind == Word) == row.words.empty() || row.minimum > row.maximum ||
            (row.kind == HexMark && row.partner.empty()) ||
            (row.support == Support::NoOnly && !IsYesNo(row.kind)))
            return false;
    }
    return true;
}
static_assert(RowsMakeSense());

constexpr struct {
    std::string_view word;
    int value;
} kYesNoWords[] = {
    {"Y", 1}, {"YES", 1},      {"N", 0},    {"NO", 0},
    {"O", 2}, {"OPTIONAL", 2}, {"YESW", 3}, {"YESWITHOUTLOG", 3},
};

}  // namespace

std::span<const AttributeInfo> AttributeCatalogue() { return kCatalogue; }

const AttributeInfo *FindAttribute(std::string_view name)
{
    const auto *row = std::ranges::find(kCatalogue, name, &AttributeInfo::name);
    return row != std::end(kCatalogue) ? row : nullptr;
}

const AttributeInfo *FindAttributeOfAnyCase(std::string_view name)
{
    const auto *row = std::ranges::find_if(
        kCatalogue, [&](const AttributeInfo &info) { return SameWord(info.name, name); });
    return row != std::end(kCatalogue) ? row : nullptr;
}

std::vector<std::string_view> AttributeNames()
{
    std::vector<std::string_view> names;
    for (const AttributeInfo &row : kCatalogue)
        names.push_back(row.name);
    return names;
}

std::string_view GroupTitle(AttributeGroup group)
{
    return kGroupTitles[static_cast<size_t>(group)];
}

std::string ValidValues(const AttributeInfo &attribute)
{
    switch (attribute.kind) {
    case Text:
        return fmt::format("text, at most {} byte{}", attribute.max_bytes,
                           attribute.max_bytes == 1 ? "" : "s");
    case Word:
        if (!attribute.when_writing.empty())
            return fmt::format("{} to read; {} to write", ValidValues(attribute, Role::Producer),
                               ValidValues(attribute, Role::Consumer));
        return OrList(SplitWords(attribute.words));
    case Integer:
        if (attribute.minimum == INT32_MIN && attribute.maximum == INT32_MAX)
            return "whole number";
        if (attribute.maximum == INT32_MAX)
            return fmt::format("whole number, {} or more", attribute.minimum);
        return fmt::format("whole number from {} to {}", attribute.minimum, attribute.maximum);
    case YesNo:
        return "Yes or No";
    case YesNoOptional:
        return "Yes, No or Optional";
    case YesNoWithoutLog:
        return "Yes, No or YesWithoutLog";
    case Mark:
        return attribute.max_bytes == 1 ? "one byte of text" : "text, 1 to 100 bytes";
    case HexMark:
        return "hexadecimal digits, two for each byte";
    case TimeStamp:
        break;
    }
    return "date and time as \"20240131 23:59:00\"";
}

std::string ValidValues(const AttributeInfo &attribute, Role role)
{
    return attribute.kind == Word ? OrList(SplitWords(WordsOf(attribute, role)))
                                  : ValidValues(attribute);
}

int YesNoValue(AttributeKind kind, std::string_view word)
{
    for (const auto &[known, value] : kYesNoWords) {
        const bool allowed = value <= 1 || (value == 2 && kind == YesNoOptional) ||
                             (value == 3 && kind == YesNoWithoutLog);
        if (allowed && SameWord(known, word))
            return value;
    }
    return -1;
}

std::vector<std::string_view> SplitWords(std::string_view words)
{
    std::vector<std::string_view> list;
    while (!words.empty()) {
        const size_t end = words.find(' ');
        list.push_back(words.substr(0, end));
        words.remove_prefix(end == std::string_view::npos ? words.size() : end + 1);
    }
    return list;
}

}  // namespace fenwire
