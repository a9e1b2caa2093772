// host/services/message_catalogue.cpp - the words of the numbered messages.
//
// The operator hands over a number and its arguments; what the user reads is decided here. %1, %2 ..
// stand for the arguments without the leader, and the letters are their kinds (t text, n number).
// The text says what was wrong and what was given, the remedy what to do. No routine names, but for
// the failures of the access layer (19401 to 19456), which carry one as an argument. docs/messages.md
// is made from this table.

#include "host/services/message_catalogue.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>

#include "host/job/words.h"
#include "operator/message_table.h"

namespace fenwire {

namespace {

struct CatalogueRow {
    int number;
    std::string_view args;
    const char *text, *remedy;
};

// clang-format off
constexpr CatalogueRow kCatalogue[] = {
    {10608, "t",         "the notify exit can't be loaded: %1",
                         "give NotifyExit the path of a shared library that this user can read"},
    {10610, "t",         "the notify exit lacks its entry point: %1",
                         "build it with the entry point that a notify exit must have"},
    {10612, "nn",        "the notify exit answered %1 to event %2",
                         "look into the exit's own log; the rows that were moved stay as they are"},
    {10661, "t",         "a date format names the year twice: %1",
                         "let each part of a date stand once in the format"},
    {10662, "t",         "a date format names the month twice: %1",
                         "let each part of a date stand once in the format"},
    {10663, "t",         "a date format names the weekday twice: %1",
                         "let each part of a date stand once in the format"},
    {10664, "t",         "a date format names the day twice: %1",
                         "let each part of a date stand once in the format"},
    {10665, "t",         "a date format names the hour twice: %1",
                         "let each part of a date stand once in the format"},
    {10666, "t",         "a date format names the minute twice: %1",
                         "let each part of a date stand once in the format"},
    {10667, "t",         "a date format names the second twice: %1",
                         "let each part of a date stand once in the format"},
    {10668, "t",         "a date format can't be used: %1",
                         "let each part of a date stand once in the format"},
    {10669, "t",         "a date format names T, for AM and PM, twice: %1",
                         "let each part of a date stand once in the format"},
    {10670, "t",         "a date format holds a byte that separates nothing, or a second Z: %1",
                         "use a blank, B, or one of / - . , : ' between the parts, and Z once"},
    {10671, "t",         "a date format holds unknown letters: %1",
                         "write it with the letters that docs/dates.md lists; a fraction is SS.S(1) to SS.S(6)"},
    {10672, "t",         "a date does not fit its format: %1",
                         "correct the data, or the input format of the column: separators must be the same, and nothing may be left over"},
    {10673, "t",         "a date holds no name of a weekday: %1",
                         "weekdays are English, in full or in three letters; correct the data, or the input format of the column"},
    {10674, "t",         "a date holds no name of a month: %1",
                         "months are English, in full or in three letters; correct the data, or the input format of the column"},
    {10675, "t",         "a day must be from 1 to 31: %1",
                         "correct the data, or the input format of the column"},
    {10676, "t",         "an hour must be from 0 to 23: %1",
                         "correct the data, or the input format of the column"},
    {10677, "t",         "an hour before AM or PM must be from 1 to 12: %1",
                         "correct the data, or the input format of the column; with T the hours are those of a 12-hour clock"},
    {10678, "t",         "a minute must be from 0 to 59: %1",
                         "correct the data, or the input format of the column"},
    {10679, "t",         "a month must be from 1 to 12: %1",
                         "correct the data, or the input format of the column; day and month may be the other way round"},
    {10680, "t",         "a time must say AM or PM: %1",
                         "correct the data, or the input format of the column"},
    {10681, "t",         "a second must be from 0 to 61: %1",
                         "correct the data, or the input format of the column"},
    {10682, "t",         "a year must be a number of up to four digits: %1",
                         "correct the data, or the input format of the column"},
    {10683, "t",         "a year must be a number of up to two digits: %1",
                         "correct the data, or use YYYY in the input format of the column"},
    {10684, "t",         "a time zone must look like +01:00: %1",
                         "correct the data, or the input format of the column"},
    {10685, "t",         "a date format can't be carried out: %1",
                         "this is a fault in the program; report it"},
    {10686, "t",         "a date or its format is empty: %1",
                         "give both an input and an output format, and check the data"},
    {10687, "t",         "a date or its format can be read in more than one way: %1",
                         "numbers that touch each other need all their digits; in a format use . for a point beside DD"},
    {10688, "t",         "a month has no such day: %1",
                         "correct the data"},
    {10689, "t",         "a weekday does not fit its date: %1",
                         "correct the data"},
    {19003, "tt",        "%1%2",
                         ""},
    {19004, "ttt",       "%1%2%3",
                         ""},
    {19005, "tt",        "%1%2",
                         ""},
    {19006, "tt",        "operator %1, version %2",
                         ""},
    {19007, "tn",        "%1 writes with %2 instances",
                         ""},
    {19008, "tn",        "%1 reads with %2 instances",
                         ""},
    {19009, "n",         "instance %1 keeps no private log",
                         "set TraceLevel or PrivateLogName to have one"},
    {19010, "nt",        "private log of instance %1: %2",
                         ""},
    {19011, "n",         "instance %1 goes on from a checkpoint",
                         ""},
    {19012, "n",         "there is no file for instance %1; it stays idle",
                         "use no more instances than there are files"},
    {19013, "tt",        "%1 failed: %2",
                         "the private log of the instance tells more"},
    {19014, "tnn",       "a text of %2 bytes is too long for its place (%1); the limit is %3",
                         "shorten the name or value that was given"},
    {19015, "n",         "exit code is now %1",
                         ""},
    {19016, "t",         "commands to this operator go to \"%1\"",
                         ""},
    {19100, "tn",        "%1 failed with code %2",
                         "a fault of the program that runs the operator, or of the system under it; its log tells more"},
    {19102, "ntnn",      "record %1: the %2 is wrong; expected %3 bytes, received %4",
                         "check that the file is complete, and that Format, IndicatorMode and the columns describe it"},
    {19105, "",          "the rows can't be read in this format",
                         "check Format and the columns"},
    {19106, "n",         "the schema has %1 columns for the file; it needs at least 1",
                         "add the columns of the file to [schema]"},
    {19107, "nn",        "a row is up to %1 bytes long; the buffer holds %2",
                         "shorten the columns of [schema]"},
    {19108, "tt",        "%1 data can't be read into these columns; columns must be %2",
                         "give the columns in [schema] one of these types"},
    {19109, "nnn",       "the schema has %1 columns, the row has %2 (record %3)",
                         "make the columns of both steps the same"},
    {19110, "ntnnn",     "column %1, \"%2\": the schema has %3 bytes, the row brings %4 (record %5)",
                         "make the column longer in [schema]"},
    {19111, "n",         "record %1 can't be used",
                         ""},
    {19112, "nntnn",     "record %1, column %2, \"%3\": at most %4 bytes, received %5",
                         "make the column longer in [schema], or check that Format, IndicatorMode and the columns describe the file"},
    {19113, "nn",        "a record should have %1 bytes and has %2",
                         "check that Format, IndicatorMode and the columns describe the file"},
    {19116, "",          "the operator is in use already",
                         "an instance may be started once; a fault of the program that runs the operator"},
    {19117, "ttt",       "no file in directory \"%1\" fits %2 \"%3\"",
                         "check DirectoryPath and FileName: upper and lower case count, and * stands for any text"},
    {19119, "t",         "this directory can't be examined: %1",
                         "check that it exists and that this user may read it"},
    {19121, "t",         "command \"%1\" is not understood",
                         "commands look like NAME=VALUE, with a comma between two of them"},
    {19122, "t",         "\"%1\" stands twice in one command",
                         "give each name once"},
    {19123, "tt",        "%1 is not active, so \"%2\" has no meaning",
                         "the command is for a job that watches a directory"},
    {19124, "tnnn",      "command %1=%2 is out of range; it must lie between %3 and %4",
                         "send the command again with a value in the range"},
    {19125, "ttnn",      "%1: %2 is now %3 (was %4)",
                         ""},
    {19126, "",          "the job stops now, as a command demands",
                         ""},
    {19127, "tt",        "file \"%1\" is left out: it is of kind \"%2\"",
                         "only regular files, pipes and links are read"},
    {19128, "tt",        "attributes %1 and %2 exclude each other",
                         "remove one of the two"},
    {19131, "nt",        "instance %1: %2",
                         ""},
    {19132, "t",         "%1",
                         ""},
    {19133, "",          "columns of type BYTE, GRAPHIC or BLOB can't be written as delimited data",
                         "use another Format, or leave these columns out"},
    {19134, "tt",        "file \"%1\" can't be read on: %2",
                         "correct the record in the file, or the marks of the job: delimiter, quotes and escapes"},
    {19135, "nn",        "the largest row would need a buffer of %2 bytes; the target takes %1",
                         "longer rows fail; shorten the columns of [schema]"},
    {19136, "nn",        "each row needs a buffer of %2 bytes; the target takes %1",
                         "shorten the columns of [schema]"},
    {19137, "tntnn",     "metadata \"%1\", column %2: file name \"%3\" has %4 bytes; the column holds %5",
                         "make the column longer in [schema]"},
    {19138, "nn",        "%1 of %2",
                         ""},
    {19139, "t",         "%1 turns checkpoints off for this job",
                         ""},
    {19140, "t",         "%1 bytes of memory can't be had",
                         "free memory, or start fewer instances"},
    {19141, "tt",        "attribute %1 is not allowed together with %2",
                         "remove one of the two"},
    {19142, "t",         "attribute %1 works with one instance only",
                         "set instances = 1"},
    {19143, "tt",        "%1 needs all files of the directory in one look; there are more than %2 allows",
                         "raise VigilMaxFiles"},
    {19144, "tt",        "FileName has %1 pieces between its *; the limit is %2",
                         "use fewer * in the pattern"},
    {19145, "t",         "the list of files (%1) names no file",
                         "put one name on each line of the list"},
    {19146, "tt",        "the list of files (%1) must name %2 files, one for each instance",
                         "add or remove lines, or change instances"},
    {19147, "t",         "output file \"%1\" exists already",
                         "remove the file, or give another name"},
    {19148, "t",         "there is no phase %1 in this method",
                         "a fault of the program that runs the operator"},
    {19149, "",          "files are not archived, because not all rows were moved",
                         "run the job again; the files lie where they were"},
    {19150, "tt",        "the job had %1 instances when it was stopped and has %2 now",
                         "go on with as many instances as before"},
    {19151, "",          "the length of a large object is damaged",
                         "it has 8 bytes, the last six of them zero; check that Format, IndicatorMode and the columns describe the file"},
    {19152, "tt",        "a length of %1 bytes can't hold the row length %2",
                         "a fault of the program that runs the operator"},
    {19153, "tt",        "a row's header has %1 bytes; it must hold the length of %2 bytes",
                         "a fault of the program that runs the operator"},
    {19154, "",          "a special character can't be turned into UTF-16",
                         "give the attribute in its HEX form, in the bytes of the data"},
    {19155, "",          "a file name is too long; the limit is 4096 bytes",
                         "shorten the name or its path"},
    {19156, "tt",        "a row of %1 bytes is longer than the limit of %2",
                         "shorten the columns of [schema], or correct the record"},
    {19157, "tt",        "a row should have %1 bytes and has %2",
                         "a fault of the operator; please report it with the private log"},
    {19158, "tt",        "%1: %2",
                         ""},
    {19159, "ttt",       "%1: %2 %3",
                         ""},
    {19160, "",          "the delimiter, quote and escape marks can't be used together",
                         "check TextDelimiter, the quote marks and the escapes: no mark may be empty or begin another"},
    {19162, "",          "a file name is longer than 4095 bytes and is cut",
                         "shorten the name or its path"},
    {19163, "",          "the character set can't be used",
                         ""},
    {19164, "t",         "%1",
                         ""},
    {19165, "t",         "format %1 can't hold the rows of this job: they may be longer than 64 KB",
                         "use the variant of the format with 4-byte lengths"},
    {19166, "tn",        "format %1 takes long rows, but the job allows %2 KB only",
                         "use the variant of the format with 2-byte lengths"},
    {19168, "",          "a delete task works with one reading instance only",
                         "set instances = 1"},
    {19169, "",          "a delete task reads one file: no file list, no pattern",
                         "name one file in FileName"},
    {19201, "t",         "attribute %1 is required and was not given",
                         "add it to the step"},
    {19202, "tnn",       "attribute %1 is %2 bytes long; the limit is %3",
                         "shorten the value"},
    {19203, "tt",        "attribute %1 is not given; \"%2\" is used",
                         ""},
    {19204, "tnnn",      "attribute %1 is %2; it must lie between %3 and %4",
                         "give a value in the range"},
    {19205, "ttt",       "attribute %1 can't be \"%2\"; valid: %3",
                         "give one of the valid values"},
    {19206, "tt",        "attribute %1 is now \"%2\"",
                         ""},
    {19208, "tt",        "attribute %1 is not allowed with data format %2",
                         "remove the attribute, or set it to No"},
    {19209, "tt",        "%1 and %2 do not go together: one holds a path, the other a name with a path",
                         "leave the directory in DirectoryPath and the name in FileName"},
    {19210, "ttt",       "%3 needs %1 together with %2",
                         "give both"},
    {19211, "tt",        "%1 must be before %2",
                         "correct one of the times"},
    {19212, "t",         "the time of %1 has passed",
                         "give a time in the future"},
    {19213, "t",         "the time of %1 has not come yet; the job waits",
                         ""},
    {19215, "tt",        "the watch over the directory has ended: %1 was %2",
                         ""},
    {19216, "ttttttntt", "%1: %2 %3, %4 %5, %6 %7 %8; notes go to \"%9\"",
                         ""},
    {19217, "tt",        "notice file \"%1\" can't be opened: %2",
                         "the job goes on without it; check its directory and permissions"},
    {19218, "t",         "a note was written for %1",
                         ""},
    {19219, "ttt",       "%1 can't be used together with %2 and %3",
                         "remove one of the three"},
    {19220, "n",         "%1 files are to be read",
                         ""},
    {19221, "n",         "%1 files were processed",
                         ""},
    {19222, "nt",        "instance %1 starts on file \"%2\"",
                         ""},
    {19223, "",          "files were added to the directory while it was looked through",
                         "run the job again when nobody writes into the directory"},
    {19224, "tn",        "attribute %1 must be 1 to %2 seconds, or 0 for no limit",
                         "give a value in the range"},
    {19225, "t",         "file \"%1\" can't be moved to the archive",
                         "check space and permissions of the archive directory; names with blanks or shell characters are not moved"},
    {19226, "t",         "file \"%1\" can't be moved to the archive and stays where it is",
                         "move it by hand before the next run, or it is read again"},
    {19227, "ttt",       "%1 \"%2\" can't be used: %3",
                         "check that the directory exists and that this user may write into it"},
    {19228, "tt",        "%1 \"%2\" is not a directory",
                         "give the path of a directory"},
    {19229, "nt",        "instance %1 is done with file \"%2\"",
                         ""},
    {19230, "t",         "attribute %1 is for producers only",
                         "remove it from this consumer"},
    {19231, "t",         "file \"%1\" does not exist",
                         "check the name; OpenMode WriteAppend needs a file that exists, and one to be read may have been removed after the start of the job"},
    {19232, "t",         "attribute %1 is switched off, because a directory is scanned",
                         "use it with a single file, or set EnableScan to No"},
    {19233, "t",         "file \"%1\" can't be moved to the archive after a restart and stays where it is",
                         "move it by hand before the next run, or it is read again"},
    {19234, "t",         "attribute %1 can't be used while a directory is watched",
                         "remove it, or the Vigil attributes"},
    {19236, "nt",        "instance %1 starts on Hadoop file \"%2\"",
                         ""},
    {19237, "t",         "attribute %1 is switched off: it is for producers only",
                         ""},
    {19238, "tt",        "attribute %1 has a meaning with %2 only",
                         "remove it, or add the Vigil attributes"},
    {19239, "t",         "attribute %1 is empty",
                         "name the file to read"},
    {19240, "tt",        "attribute %1 is switched off, because %2 is in use",
                         ""},
    {19241, "tt",        "attribute %1 is switched off: it needs at least %2 instances",
                         "raise instances"},
    {19242, "",          "the next file was asked for in an unknown way",
                         "a fault of the operator; please report it with the private log"},
    {19243, "t",         "attribute %1 has a default that it can't have",
                         "a fault of the operator; please report it with the private log"},
    {19244, "ttttt",     "attribute %1 = \"%2\" needs %3 to be \"%4\" or \"%5\"",
                         "set charset in [job] to UTF8"},
    {19245, "t",         "attribute %1 must be a character of valid UTF-8",
                         "give one byte of plain text"},
    {19246, "t",         "attribute %1 is for consumers only",
                         "remove it from this producer"},
    {19247, "tt",        "attribute %1 needs attribute %2",
                         "add the second, or remove the first"},
    {19248, "tt",        "attribute %1 must be %2 byte long",
                         "give a single byte; in UTF16, where a character has two, leave TrimColumns out"},
    {19249, "tt",        "attribute %1 can't be used with character set %2",
                         "remove it, or set charset in [job] to UTF8 or UTF16"},
    {19250, "t",         "%1 does not fit the rows of this job, which carry no indicators",
                         "remove the attribute"},
    {19251, "tt",        "%1 \"%2\" is not possible for a zip file",
                         "write a new file, or one that ends in .gz"},
    {19301, "",          "the access to files can't be set up",
                         "the message before this one has the cause"},
    {19302, "",          "the access module can't be attached",
                         "the message before this one has the cause"},
    {19303, "",          "the access module refuses an attribute",
                         "the message before this one has the cause"},
    {19304, "",          "the file can't be opened",
                         "the message before this one has the cause"},
    {19305, "",          "the file can't be read on",
                         "the message before this one has the cause"},
    {19306, "",          "the file can't be written on",
                         "the message before this one has the cause"},
    {19307, "",          "the position in the file can't be had",
                         "the message before this one has the cause"},
    {19308, "",          "the file can't be positioned for the restart",
                         "the message before this one has the cause"},
    {19309, "",          "the file can't be closed",
                         "the message before this one has the cause"},
    {19310, "",          "the access to files can't be ended in order",
                         "the message before this one has the cause; rows are not concerned"},
    {19311, "",          "the access to files has left something open",
                         "rows are not concerned"},
    {19401, "tnt",       "the access to files was used after its end (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19402, "tnt",       "the access layer was given a wrong value (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19403, "tnt",       "there is no such access module (%1 answered %2: %3)",
                         "check AccessModuleName, and that this user can read the library"},
    {19404, "tnt",       "there is no such file (%1 answered %2: %3)",
                         "check DirectoryPath and FileName"},
    {19405, "tnt",       "the file is open for writing only (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19406, "tnt",       "the file is open for reading only (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19407, "tnt",       "the file was used after its end (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19408, "tnt",       "an access module has files open still (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19409, "tnt",       "the file ended where more was expected (%1 answered %2: %3)",
                         "check that the file is complete"},
    {19410, "tnt",       "the file is ready for a checkpoint, which nobody asked for (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19411, "tnt",       "the access module does not serve this operator (%1 answered %2: %3)",
                         "use another access module"},
    {19412, "tnt",       "memory can't be had or was used wrongly (%1 answered %2: %3)",
                         "free memory, or start fewer instances"},
    {19413, "tnt",       "the file can't be opened in this way (%1 answered %2: %3)",
                         "check OpenMode and the access module"},
    {19414, "tnt",       "the file can't have this format (%1 answered %2: %3)",
                         "check Format and the access module"},
    {19415, "tnt",       "the file can't be read in blocks of this size (%1 answered %2: %3)",
                         "check the access module"},
    {19416, "tnt",       "the data is not in the expected format (%1 answered %2: %3)",
                         "check that Format and the columns describe the file, and that it is complete"},
    {19417, "tnt",       "a record is longer than the buffer (%1 answered %2: %3)",
                         "check that the file is what Format says, and that its quotes are closed"},
    {19418, "tnt",       "the access module is of another version (%1 answered %2: %3)",
                         "use the access module that belongs to this version"},
    {19419, "tnt",       "the file name is too long (%1 answered %2: %3)",
                         "shorten the name or its path; the limit is 4096 bytes"},
    {19420, "tnt",       "the access module does not understand its initial text (%1 answered %2: %3)",
                         "check AccessModuleInitStr"},
    {19421, "tnt",       "the access module does not know a command in its initial text (%1 answered %2: %3)",
                         "check AccessModuleInitStr"},
    {19422, "tnt",       "the access module does not know an option in its initial text (%1 answered %2: %3)",
                         "check AccessModuleInitStr"},
    {19423, "tnt",       "a stored position is damaged (%1 answered %2: %3)",
                         "the job can't go on from its checkpoint; run it from its start"},
    {19424, "tnt",       "the access module can't do this (%1 answered %2: %3)",
                         "use another access module, or remove the attribute that asks for it"},
    {19425, "tnt",       "the access module wants to read on before a checkpoint (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19426, "tnt",       "the access layer was used before its start (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19427, "tnt",       "there is no such trace level (%1 answered %2: %3)",
                         "check TraceLevel"},
    {19428, "tnt",       "access modules are attached still (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19429, "tnt",       "the file is empty (%1 answered %2: %3)",
                         "no rows come from it"},
    {19430, "tnt",       "the access layer was started twice (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19431, "tnt",       "the details of the format are wrong (%1 answered %2: %3)",
                         "check Format and the columns"},
    {19432, "tnt",       "the access module knows no such way of taking checkpoints (%1 answered %2: %3)",
                         "use another access module"},
    {19433, "tnt",       "the access module knows no such attribute (%1 answered %2: %3)",
                         "check AccessModuleInitStr"},
    {19434, "tnt",       "the system or the access module reports a failure (%1 answered %2: %3)",
                         "the text in parentheses has the cause: often permissions, space, or a file that went away"},
    {19435, "tnt",       "the file ends before the end of a record (%1 answered %2: %3)",
                         "complete the last line, or set AcceptEOFasEOR to Yes"},
    {19436, "tnt",       "a block is longer than its buffer (%1 answered %2: %3)",
                         "a fault of the access module"},
    {19437, "tnt",       "the access module lacks an entry point (%1 answered %2: %3)",
                         "build it against the header of this version"},
    {19438, "tnt",       "the records do not have the length of the schema (%1 answered %2: %3)",
                         "check that the columns describe the file"},
    {19439, "ttnt",      "file \"%1\", record %2, column %3, \"%4\": a character is damaged or can't be taken",
                         "check that charset in [job] is that of the file"},
    {19440, "tnt",       "an attribute has a value that the access module does not take (%1 answered %2: %3)",
                         "check AccessModuleInitStr"},
    {19441, "tnt",       "an attribute came after the file was opened (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19442, "tnt",       "the data can't be marked for a restart (%1 answered %2: %3)",
                         "run the job from its start"},
    {19443, "tnt",       "the data is not the same as before the restart (%1 answered %2: %3)",
                         "put the earlier file back, or run the job from its start"},
    {19444, "tnt",       "an attribute came too late after the file was opened (%1 answered %2: %3)",
                         "a fault of the operator; please report it with the private log"},
    {19445, "tnt",       "the byte order mark of the file is for the other byte order (%1 answered %2: %3)",
                         "check charset in [job], or remove the mark"},
    {19446, "tnt",       "the byte order mark of the file is for another character set (%1 answered %2: %3)",
                         "set charset in [job] to that of the file: UTF8 or UTF16"},
    {19447, "tnt",       "the access layer reports an unknown failure (%1 answered %2: %3)",
                         "the private log of the instance tells more"},
    {19448, "tnt",       "the access layer reports an unknown failure (%1 answered %2: %3)",
                         "the private log of the instance tells more"},
    {19449, "tnt",       "the access layer reports an unknown failure (%1 answered %2: %3)",
                         "the private log of the instance tells more"},
    {19450, "tnt",       "the access module asks for an attribute that is not known (%1 answered %2: %3)",
                         "check the access module"},
    {19451, "tnt",       "the access module gives an attribute a wrong value (%1 answered %2: %3)",
                         "check the access module"},
    {19452, "tnt",       "the access layer reports an unknown failure (%1 answered %2: %3)",
                         "the private log of the instance tells more"},
    {19453, "tnt",       "the access layer reports an unknown failure (%1 answered %2: %3)",
                         "the private log of the instance tells more"},
    {19454, "tnt",       "the access layer reports an unknown failure (%1 answered %2: %3)",
                         "the private log of the instance tells more"},
    {19455, "tnt",       "nothing came in time (%1 answered %2: %3)",
                         "check the program that writes into the pipe, or raise NamedPipeTimeOut"},
    {19456, "tnt",       "a pipe has no position to go on from (%1 answered %2: %3)",
                         "a job that reads a pipe is run from its start"},
    {19465, "",          "text can't be read in this character set: it is not known here",
                         "set charset in [job] to UTF8, ASCII or another that docs/job-file.md names"},
    {19466, "nt",        "record %1: %2",
                         ""},
    {19467, "",          "the limits for records and for bytes of a buffer collide",
                         "set RecordsPerBuffer to a smaller value"},
    {19468, "",          "nothing came through the named pipe in time",
                         "check the program that writes into the pipe, or raise NamedPipeTimeOut"},
    {19469, "nn",        "record %1 has no end within %2 bytes",
                         "check that the file is text with line ends, and that charset fits it"},
    {19470, "nn",        "record %1 has no end within %2 bytes: a quote mark is not closed",
                         "close the quote in the data, or correct QuotedData and the quote marks"},
    {19471, "nn",        "a record of %1 bytes does not fit the buffer of %2",
                         "shorten the columns of [schema]"},
    {19472, "tnntnn",    "file \"%1\", record %2, column %3, \"%4\": at most %5 bytes, received %6",
                         "make the column longer in [schema], or set TruncateColumnData to Yes"},
    {19473, "nnn",       "record %1 says that it takes %2 bytes behind its length; it must take 1 to %3",
                         "check that the file is complete, and that Format and EndianFlip describe it"},
    {19474, "ttnt",      "file \"%1\", record %2, column %3, \"%4\": the column does not begin with a quote mark",
                         "set QuotedData to Optional, or quote the column in the file"},
    {19475, "n",         "%1 rows",
                         ""},
    {19601, "n",         "all %1 connector clients are connected",
                         ""},
    {19602, "n",         "all rows went through %1 connector clients",
                         ""},
    {19603, "t",         "the connector client can't be started; its log is \"%1\"",
                         "look into the log that the message names"},
    {19604, "",          "no source or target is given for Hadoop",
                         "add one of the HadoopSource or HadoopTarget attributes"},
    {19605, "",          "a Hadoop attribute does not fit the step",
                         "HadoopSource attributes are for producers, HadoopTarget attributes for consumers"},
    {19606, "t",         "attribute %1 can't be used together with Hadoop attributes",
                         "remove it"},
    {19607, "",          "Hadoop attributes work with one instance only",
                         "set instances = 1"},
    {19609, "nn",        "not all of the %2 connector clients were connected after %1 seconds",
                         "check that the cluster is up and that it reaches this machine"},
    {19610, "t",         "rows can't be sent to the connector client; its log is \"%1\"",
                         "look into the log that the message names"},
    {19611, "t",         "rows can't be received from the connector client; its log is \"%1\"",
                         "look into the log that the message names"},
    {19613, "t",         "library directory \"%1\" does not exist",
                         "check HCAT_HOME and HIVE_HOME"},
    {19615, "t",         "environment variable %1 is not set, or too long",
                         "set it before the start"},
    {19616, "",          "environment variable HIVE_HOME is not set",
                         "set it before the start"},
    {19617, "",          "environment variable HCAT_HOME is not set, or Hadoop can't be started",
                         "set it before the start, and check that the command \"hadoop version\" works"},
    {19618, "",          "this version of Hadoop is not supported",
                         "version 2 or later is needed"},
    {19985, "nt",        "the checkpoint record of instance %1 can't be used: %2",
                         "it was damaged where it is kept, or belongs to another job; begin the job anew"},
    {19986, "tnn",       "file \"%1\" ends within a record: its last %2 bytes, behind record %3, were not loaded",
                         "check that the file is complete, and that Format describes it; read it again if it is still being written"},
    {19987, "tnn",       "file \"%1\" lacks rows: %2 rows without a value left no record, the first before record %3",
                         "set AppendDelimiter to Yes: then a row of one column that is NULL or empty has a record too"},
    {19988, "tnn",       "file \"%1\" has values that are not read back as they were written: %2 of its records hold some, the first "
                         "is record %3",
                         "set QuotedData to Optional, without EscapeQuoteDelimiter, or choose marks that the values do not hold"},
    {19989, "tnnt",      "record %2 of file \"%1\", at byte %3, %4",
                         "check that the file is complete, and that Format and EndianFlip describe it"},
    {19990, "tt",        "attribute %1 asks for %2, which is not available in this version",
                         "remove it from the job, or set it to No"},
    {19991, "tn",        "record %2 of file \"%1\" ends inside quotes: everything behind its last open quote mark was "
                         "taken for one value",
                         "close the quote in the file, or set QuotedData to No if the mark is data"},
    {19992, "tt",        "the name of file \"%1\" can't be converted to %2",
                         "rename the file to valid UTF-8, or remove the column that takes its name"},
    {19993, "nt",        "ErrorLimit = %1 is reached: the bad records are in \"%2\"",
                         "look at what is wrong with them; raise ErrorLimit if the job can do without so many"},
    {19994, "ntt",       "bad records of instance %1 may be missing in \"%3\": what there is of them is in \"%2\"",
                         "append that file to the record error file, and remove it"},
    {19995, "tnt",       "record %2 of file \"%1\" does not look like text of the character set %3",
                         "check that charset in [job] is that of the file: UTF16 for text with a zero in every second byte"},
    {19996, "t",         "\"%1\" takes the bad records of this job and can't be its input too",
                         "give RecordErrorFileName a name that FileName does not match"},
    {19997, "tnntt",     "record %2 of file \"%1\" was loaded in part: column %3, \"%4\", %5",
                         "mend the record, or check charset in [job], and load it again; with TruncateColumnData = \"No\" a value of "
                         "over 65,536 bytes is refused instead, and without a record error file a bad character ends the job"},
    {19998, "tnn",       "file \"%1\" has records with more columns than the schema: %2 of them, the first is record %3; what is "
                         "behind the last column was ignored",
                         "check the columns of [schema]; AcceptExcessColumns = \"Yes\" says that this is meant, and "
                         "TruncateColumnData = \"No\" refuses such records"},
    {19999, "tnn",       "file \"%1\" has records with values over the length of their column: %2 of them, the first is record "
                         "%3; they were cut, as ValidUTF8 does",
                         "make the columns longer; TruncateColumnData = \"Yes\" says that this is meant"},
};
// clang-format on

// Each argument has its place in the text, and no place lacks its argument.
constexpr bool PlacesFit(std::string_view text, size_t arguments)
{
    bool seen[10] = {};
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != '%')
            continue;
        if (text[i + 1] < '1' || text[i + 1] > '0' + static_cast<int>(arguments))
            return false;
        seen[text[i + 1] - '0'] = true;
    }
    return static_cast<size_t>(std::count(seen, seen + std::size(seen), true)) == arguments;
}

// Every row of the operator's table has its words, in the same order, for the same arguments.
constexpr bool CatalogueIsComplete()
{
    if (std::size(kCatalogue) != std::size(kMessages))
        return false;
    for (size_t i = 0; i < std::size(kCatalogue); ++i) {
        if (kCatalogue[i].number != kMessages[i].number ||
            kCatalogue[i].args != kMessages[i].args ||
            !PlacesFit(kCatalogue[i].text, kCatalogue[i].args.size()))
            return false;
    }
    return true;
}
static_assert(CatalogueIsComplete(),
              "kCatalogue and kMessages disagree: numbers, arguments or places");
static_assert(std::ranges::is_sorted(kCatalogue, {}, &CatalogueRow::number));

const CatalogueRow *FindRow(int number)
{
    const auto *row = std::ranges::lower_bound(kCatalogue, number, {}, &CatalogueRow::number);
    return row != std::end(kCatalogue) && row->number == number ? row : nullptr;
}

std::string ArgumentText(const PxLogArg &arg)
{
    if (arg.type == PX_ARG_INTEGER)
        return fmt::format("{}", arg.number);
    if (arg.type == PX_ARG_TEXT)
        return arg.text != nullptr ? Escaped(arg.text) : "(null)";
    return fmt::format("(argument of type {})", arg.type);
}

bool KindsFit(std::string_view kinds, std::span<const PxLogArg> args)
{
    return std::ranges::equal(kinds, args, [](char kind, const PxLogArg &arg) {
        return arg.type == (kind == 't' ? PX_ARG_TEXT : PX_ARG_INTEGER);
    });
}

std::string ListedArguments(int number, std::span<const PxLogArg> args)
{
    std::string text = fmt::format("message {}", number);
    for (const PxLogArg &arg : args)
        text += fmt::format("{} {}", &arg == args.data() ? ":" : ",", ArgumentText(arg));
    return text;
}

constexpr auto MakeHelp()
{
    std::array<MessageHelp, std::size(kCatalogue)> help{};
    for (size_t i = 0; i < help.size(); ++i)
        help[i] = {kCatalogue[i].number, kCatalogue[i].text, kCatalogue[i].remedy};
    return help;
}
constexpr auto kHelp = MakeHelp();

}  // namespace

std::string MessageText(int number, std::span<const PxLogArg> args)
{
    const CatalogueRow *row = FindRow(number);
    if (row == nullptr || !KindsFit(row->args, args))
        return ListedArguments(number, args);  // an operator of another version
    std::string text;
    for (const char *p = row->text; *p != '\0'; ++p) {
        if (*p == '%')
            text += ArgumentText(args[static_cast<size_t>(*++p - '1')]);
        else
            text += *p;
    }
    return text;
}

std::span<const MessageHelp> MessageCatalogue() { return kHelp; }

const MessageHelp *FindMessage(int number)
{
    const auto *help = std::ranges::lower_bound(kHelp, number, {}, &MessageHelp::number);
    return help != kHelp.end() && help->number == number ? help : nullptr;
}

}  // namespace fenwire
