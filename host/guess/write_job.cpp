// host/guess/write_job.cpp - what was found, as a job file with comments.
//
// Everything that comes from a file goes through Escaped or TomlText: neither a name nor a value can end
// a comment or a text.

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/guess/guess.h"
#include "host/job/data_files.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kLongestColumn = 64000;

// ---- TOML -------------------------------------------------------------------------------------

std::string TomlText(std::string_view text)
{
    std::string quoted = "\"";
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<uint8_t>(text[i]);
        if (text[i] == '"' || text[i] == '\\')
            quoted += {'\\', text[i]};
        else if (byte < 0x20 || byte == 0x7F)
            quoted += fmt::format("\\u{:04X}", byte);
        else if (text.substr(i).starts_with("${"))
            quoted += "$$";  // no environment variable
        else
            quoted += text[i];
    }
    return quoted + '"';
}

// Only UTF-8 can stand in a job file.
std::string PathText(const fs::path &path)
{
    std::string text = path.string();
    for (std::string_view rest = text; !rest.empty();) {
        const size_t length = Utf8Length(rest);
        if (length == 0)
            throw GuessError(
                fmt::format("the name {} is no UTF-8, so no job file can hold it", Quoted(text)),
                "rename the file, or make a link with another name");
        rest.remove_prefix(length);
    }
    return text;
}

// A setting, with its comment in a column of its own.
std::string Line(const std::string &setting, const std::string &comment)
{
    return comment.empty() ? setting + '\n' : fmt::format("{:<40}# {}\n", setting, comment);
}

std::string Bytes(uint64_t bytes)
{
    return bytes < 10'000       ? fmt::format("{} bytes", bytes)
           : bytes < 10'000'000 ? fmt::format("{:.0f} kB", static_cast<double>(bytes) / 1000)
                                : fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1'000'000);
}

std::string Plural(uint64_t number, const char *one, const char *many = nullptr)
{
    return number == 1 ? fmt::format("1 {}", one)
           : many      ? fmt::format("{} {}", number, many)
                       : fmt::format("{} {}s", number, one);
}

// ---- Names ------------------------------------------------------------------------------------

// The files' name without ending, or what all names begin with: letters, digits, - and _.
std::string StemOf(const std::vector<fs::path> &files)
{
    std::string stem = files[0].stem().string();
    for (const fs::path &file : files) {
        const std::string other = file.filename().string();
        stem.resize(static_cast<size_t>(std::ranges::mismatch(stem, other).in1 - stem.begin()));
    }
    for (char &c : stem) {
        if (isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '_')
            c = '_';
    }
    const size_t from = stem.find_first_not_of("-_");
    if (from == std::string::npos)
        return "guessed";
    stem = stem.substr(from, std::min<size_t>(stem.find_last_not_of("-_") + 1 - from, 48));
    return stem.starts_with("sqlite_") ? "t_" + stem : stem;
}

// A pattern for the names of all files and for as few others as possible.
std::string PatternOf(const std::vector<fs::path> &files)
{
    const std::string first = files[0].filename().string();
    size_t front = first.size(), back = first.size();
    for (const fs::path &file : files) {
        const std::string name = file.filename().string();
        front = std::min<size_t>(
            front, static_cast<size_t>(std::ranges::mismatch(first, name).in1 - first.begin()));
        size_t same = 0;
        while (same < name.size() && same < first.size() &&
               name[name.size() - 1 - same] == first[first.size() - 1 - same])
            ++same;
        back = std::min(back, same);
    }
    // Not into the middle of a character, and not into each other.
    const auto inside = [&](size_t at) {
        return at < first.size() && (static_cast<uint8_t>(first[at]) & 0xC0) == 0x80;
    };
    while (front > 0 && inside(front))
        --front;
    back = std::min(back, first.size() - front);
    while (back > 0 && inside(first.size() - back))
        --back;
    return first.substr(0, front) + '*' + first.substr(first.size() - back);
}

struct Input {
    fs::path folder;  // from the job's folder; empty: the job's folder
    std::string name;
    bool pattern = false;
    std::vector<std::string> others;  // that the pattern fits as well
};

Input FindInput(const std::vector<fs::path> &files, const fs::path &job_folder)
{
    const fs::path folder = fs::absolute(files[0]).lexically_normal().parent_path();
    Input input;
    for (const fs::path &file : files) {
        if (fs::absolute(file).lexically_normal().parent_path() != folder)
            throw GuessError(fmt::format("{} and {} lie in different folders: one job reads one "
                                         "folder",
                                         Quoted(files[0].string()), Quoted(file.string())),
                             "guess a job for each folder");
        if (file.filename().string().find('*') != std::string::npos && files.size() > 1)
            throw GuessError(fmt::format("the name {} holds a *, which is a pattern in a job",
                                         Quoted(file.string())),
                             "guess that file alone");
    }
    const fs::path relative = folder.lexically_relative(job_folder);
    input.folder = relative == "." ? fs::path() : relative.empty() ? folder : relative;
    input.pattern = files.size() > 1;
    input.name = input.pattern ? PatternOf(files) : files[0].filename().string();
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (input.pattern && FitsPattern(input.name, name) && entry.is_regular_file(error) &&
            std::ranges::none_of(files, [&](const fs::path &f) { return f.filename() == name; }))
            input.others.push_back(name);
    }
    std::ranges::sort(input.others);
    if (input.name == "*" && !input.others.empty())
        throw GuessError(fmt::format("the names of the files have nothing in common, and other "
                                     "files lie beside them: {}",
                                     Quoted(input.others[0])),
                         "put the files into a folder of their own");
    return input;
}

// ---- The job ----------------------------------------------------------------------------------

class JobWriter {
public:
    JobWriter(const Guess &guess, const fs::path &job)
        : guess_(guess), found_(guess.findings), stem_(StemOf(guess.files)),
          job_(fs::absolute(job.empty() ? fs::path(stem_ + ".toml") : job).lexically_normal()),
          input_(FindInput(guess.files, job_.parent_path()))
    {
        if (!job.empty() && IsInput(job_.filename().string()))
            throw GuessError(fmt::format("the job file {} would be read as data: it fits {}",
                                         Quoted(job.string()), Quoted(input_.name)),
                             "write it into another folder, or under another name");
    }

    GuessedJob Write()
    {
        About();
        Job();
        Producer();
        Schema();
        out_ += fmt::format("\n[target]\ntype = \"sqlite\"\nfile = {}\ntable = {}\n",
                            TomlText(OutputName(".db")), TomlText(stem_));
        return {std::move(out_), std::move(notes_)};
    }

private:
    // Whether the job would take a file of its own folder for its data.
    bool IsInput(const std::string &name) const
    {
        return input_.folder.empty() &&
               (input_.pattern ? FitsPattern(input_.name, name) : input_.name == name);
    }

    std::string OutputName(const char *ending) const
    {
        for (const char *before : {"", "loaded-", "from-"}) {
            if (std::string name = before + stem_ + ending; !IsInput(name))
                return name;
        }
        throw GuessError(fmt::format("the names of the files have nothing in common: {} also fits "
                                     "what the job writes beside them",
                                     Quoted(input_.name)),
                         "write the job file into another folder: -o ../JOB.toml");
    }

    void Remark(const std::string &text) { out_ += "# " + text + '\n'; }

    // In the file and on the screen.
    void Note(const std::string &text)
    {
        Remark("NOTE: " + text);
        notes_.push_back(text);
    }

    void About()
    {
        const std::string what = guess_.files.size() == 1
                                     ? Escaped(guess_.files[0].filename().string())
                                     : Plural(guess_.files.size(), "file");
        Remark(fmt::format("Guessed from {}, {}: {} and {} looked at{}.", what, Bytes(guess_.bytes),
                           guess_.whole ? "all bytes" : Bytes(guess_.looked_at),
                           Plural(found_.records, "record"),
                           guess_.whole ? "" : ", from head, middle and tail"));
        Remark("fenwire preview shows what it makes of the first rows, fenwire run loads them.");
        if (guess_.dialect.columns > 1)
            Remark(fmt::format("{:.4g} % of the first records have {}.",
                               guess_.dialect.consistent * 100,
                               Plural(found_.columns.size(), "column")));
        Oddities();
        out_ += '\n';
    }

    void Oddities()
    {
        const auto first = [](const std::vector<std::string> &places) {
            return (places.empty() ? "" : ": ") + fmt::format("{}", fmt::join(places, "; "));
        };
        if (found_.uneven > 0)
            Note(Plural(found_.uneven, "record does", "records do") +
                 " not fit and will be refused" + first(found_.uneven_places));
        if (found_.malformed > 0)
            Note(Plural(found_.malformed, "record is", "records are") +
                 " badly quoted, and will end the job" + first(found_.malformed_places));
        if (found_.blank_lines > 0)
            Note(Plural(found_.blank_lines, "empty line", "empty lines") +
                 ", refused as records of too few columns");
        if (found_.other_line_ends > 0)
            Note(fmt::format("{} hold line ends other than the {} of the rest, which stay in "
                             "the data",
                             Plural(found_.other_line_ends, "record"),
                             found_.crlf ? "CRLF" : "LF"));
        if (guess_.nul_bytes > 0)
            Note(Plural(guess_.nul_bytes, "NUL byte") + " in the data");
        if (guess_.odd_bytes > 0)
            Note(Plural(guess_.odd_bytes, "byte") + " are no UTF-8, and are loaded as they are");
        if (guess_.wide_units > 0)
            Note(Plural(guess_.wide_units, "character") +
                 " of four bytes in UTF-16: the records that hold them are loaded, and kept as bad "
                 "ones too");
        for (const std::string &piece : found_.left_out)
            Remark(piece + " were not looked at: no start of a record was found there");
        if (!guess_.dialect.rival.empty())
            Remark(fmt::format("Delimiter {} would fit nearly as well.",
                               DelimiterName(guess_.dialect.rival)));
    }

    void Job()
    {
        static constexpr struct {
            const char *charset, *comment;
        } kSets[] = {
            {"ASCII", "no byte above 127 was seen"},
            {"UTF8", ""},
            {"ASCII", "bytes above 127 that are no UTF-8, such as Latin-1: kept as they are"},
            {"UTF16", "little-endian"},
        };
        const auto &set = kSets[static_cast<size_t>(guess_.encoding)];
        // What was not looked at may hold more than ASCII.
        const bool more = guess_.encoding == Encoding::Ascii && !guess_.whole;
        std::string comment = more ? "only ASCII was seen" : set.comment;
        if (guess_.byte_order_mark)
            comment += comment.empty() ? "with a byte order mark" : ", with a byte order mark";
        out_ +=
            fmt::format("[job]\nname = {}\n", TomlText(stem_)) +
            Line(fmt::format("charset = \"{}\"", more ? "UTF8" : set.charset), comment) +
            Line("checkpoint = \"60s\"", "when it was killed, fenwire resume goes on from there") +
            '\n';
    }

    void Producer()
    {
        out_ += "[producer]\n";
        if (!input_.folder.empty())
            out_ += fmt::format("DirectoryPath = {}\n", TomlText(PathText(input_.folder)));
        out_ += fmt::format("FileName = {}\n", TomlText(PathText(input_.name)));
        if (!input_.others.empty())
            Note(fmt::format("the pattern fits {} too: {} not looked at",
                             input_.others.size() == 1
                                 ? Escaped(input_.others[0])
                                 : fmt::format("{} other files", input_.others.size()),
                             input_.others.size() == 1 ? "it was" : "they were"));
        if (!input_.pattern && input_.name.find('*') != std::string::npos)
            out_ += Line("EnableScan = false", "the * is part of the name");
        out_ += "Format = \"Delimited\"\n";
        Delimiter();
        Quotes();
        Remark(fmt::format(
            "Records end with {}, which the operator sees for itself{}.",
            found_.crlf ? "CRLF" : "LF",
            found_.line_ends_inside > 0
                ? fmt::format("; {} line ends inside quotes",
                              Plural(found_.line_ends_inside, "record has", "records have"))
                : ""));
        Header();
        out_ += Line(fmt::format("RecordErrorFileName = {}", TomlText(OutputName(".bad"))),
                     "takes the records that do not fit");
        out_ += '\n';
    }

    void Delimiter()
    {
        const std::string_view bytes = guess_.dialect.dialect.delimiter;
        const std::string name = guess_.dialect.columns == 1
                                     ? "one column: it does not occur in the data"
                                     : DelimiterName(bytes);
        const bool control = std::ranges::any_of(
            bytes, [](char c) { return static_cast<uint8_t>(c) < 0x20 && c != '\t'; });
        if (bytes == "\t") {
            out_ += "TextDelimiter = \"TAB\"\n";
        } else if (control) {
            std::string digits;
            for (const char c : bytes)
                digits += fmt::format("{:02X}{}", static_cast<uint8_t>(c),
                                      guess_.encoding == Encoding::Utf16 ? "00" : "");
            out_ += Line(fmt::format("TextDelimiterHEX = \"{}\"", digits), name);
        } else {
            out_ += Line(fmt::format("TextDelimiter = {}", TomlText(bytes)), name);
        }
        if (found_.trailing_delimiter)
            Remark("Each record ends with a delimiter, behind which nothing stands.");
    }

    void Quotes()
    {
        const Dialect &dialect = guess_.dialect.dialect;
        const std::string_view bytes = dialect.delimiter;
        // Where quotes are the custom, what was not looked at may have some.
        const bool usual = bytes == "," || bytes == ";";
        if (dialect.quote == 0 && (guess_.whole || !usual))
            out_ += Line("QuotedData = \"No\"", "no value in quotes was seen");
        else if (dialect.quote == 0)
            out_ += Line("QuotedData = \"Optional\"",
                         "none seen, but not all of the data was looked at");
        else if (found_.all_quoted && guess_.whole)
            out_ += Line("QuotedData = \"Yes\"", "every value stands in quotes");
        else
            out_ += "QuotedData = \"Optional\"\n";
        if (dialect.quote == '\'')
            out_ += "OpenQuoteMark = \"'\"\n";
        if (guess_.dialect.escapes_quotes)
            out_ += Line("EscapeQuoteDelimiter = \"\\\\\"", "a backslash before quotes");
        if (guess_.dialect.escapes_delimiters)
            out_ += Line("EscapeTextDelimiter = \"\\\\\"", guess_.dialect.escapes_quotes
                                                               ? "and before other characters"
                                                               : "a backslash before delimiters");
    }

    void Header()
    {
        if (!found_.header) {
            Remark(
                found_.header_doubtful
                    ? "No line of column names is taken for sure; if there is one: SkipRows = 1, "
                      "SkipRowsEveryFile = true"
                    : "There is no line of column names.");
            return;
        }
        out_ += Line(fmt::format("SkipRows = {}", found_.first_skipped + 1),
                     found_.first_skipped > 0 ? fmt::format("{} before the column names, and these",
                                                            Plural(found_.first_skipped, "record"))
                                              : "a line of column names");
        out_ += "SkipRowsEveryFile = true\n";
    }

    // ---- Columns

    uint64_t Room(uint64_t longest) const
    {
        const uint64_t more = guess_.whole ? longest / 2 : longest;
        const uint64_t room = longest + std::max<uint64_t>(more, 4);
        const uint64_t step = room < 16 ? 4 : room < 128 ? 8 : room < 1024 ? 64 : 1024;
        return std::clamp<uint64_t>((room + step - 1) / step * step, 1, kLongestColumn);
    }

    void Schema()
    {
        out_ += "[schema]\ncolumns = [\n";
        size_t widest = 0;
        std::vector<std::string> texts;
        for (const ColumnFinding &column : found_.columns) {
            texts.push_back(
                TomlText(fmt::format("{} VARCHAR({})", column.name, Room(column.longest))) + ',');
            widest = std::max(widest, std::min<size_t>(texts.back().size(), 48));
        }
        for (size_t i = 0; i < texts.size(); ++i)
            out_ +=
                fmt::format("  {:<{}}  # {}\n", texts[i], widest, ColumnWords(found_.columns[i]));
        out_ += "]\n";
    }

    std::string ColumnWords(const ColumnFinding &column)
    {
        const Tally &tally = column.tally;
        std::string words = column.longest == 0
                                ? "never filled"
                                : fmt::format("up to {}", Plural(column.longest, "byte"));
        if (tally.empty() > 0 && column.longest > 0)
            words += fmt::format(", {:.2g} % empty", 100 * static_cast<double>(tally.empty()) /
                                                         static_cast<double>(tally.values()));
        if (const std::string common = tally.Words(); !common.empty() && column.longest > 0)
            words += ", " + common;
        if (column.longest > 64)
            words += ", the longest in " + column.longest_place;
        if (column.longest > kLongestColumn)
            words += fmt::format("; more than {} bytes are refused", kLongestColumn);
        if (found_.header && column.header != column.name)
            words += ", called " + Quoted(column.header);
        return words;
    }

    const Guess &guess_;
    const Findings &found_;
    std::string stem_;
    fs::path job_;
    Input input_;
    std::string out_;
    std::vector<std::string> notes_;
};

}  // namespace

GuessedJob WriteJob(const Guess &guess, const fs::path &job)
{
    return JobWriter(guess, job).Write();
}

}  // namespace fenwire
