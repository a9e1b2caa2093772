// cli/main.cpp - the program `fenwire`: command line to verb, failures to words and exit status.

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <functional>

#include <fcntl.h>
#include <unistd.h>

#include "cli/verbs.h"
#include "host/job/words.h"
#include "host/version.h"

namespace fenwire {

void PrintError(const std::string &what, const std::string &hint,
                const std::vector<std::string> &details)
{
    fmt::print(stderr, "fenwire: error: {}\n", what);
    for (const std::string &detail : details)
        fmt::print(stderr, "{:>9}{}\n", "", detail);
    if (!hint.empty())
        fmt::print(stderr, "{:>9}hint: {}\n", "", hint);
}

void Say(const std::string &text) { fmt::print(stderr, "{}\n", Escaped(text)); }

namespace {

constexpr char kHelp[] =
    R"help(fenwire {} - moves rows between files and databases, with several readers and writers at once

  fenwire guess FILE...       writes a job file for them
  fenwire preview JOB.toml    its first rows, and the first records that it would refuse
  fenwire check JOB.toml      could the job run? looks at everything and changes nothing
  fenwire run JOB.toml        runs it
  fenwire resume JOB.toml     goes on from the last checkpoint of a run that did not come to its end
  fenwire status JOB.toml     what became of it, and what it could go on from
  fenwire explain WORD        what a message (19112) or an attribute (TextDelimiter) means
  fenwire list SUBJECT        attributes, types, messages, sources or targets
  fenwire rejects show JOB.toml   the bad records of its last run; retry loads the repaired ones
  fenwire version

A whole job file:

  [producer]
  FileName = "orders.csv"
  Format = "Delimited"
  TextDelimiter = ","

  [schema]
  columns = ["id VARCHAR(12)", "customer VARCHAR(40)"]

  [target]
  type = "sqlite"
  file = "orders.db"
  table = "orders"

[source] instead of [producer] reads a table, [consumer] instead of [target] writes files.
fenwire VERB --help shows the options of a verb; docs/job-file.md explains job files.
)help";

constexpr char kExitStatus[] =
    "Exit status: 0 all rows moved; 4 done, with warnings or refused rows; 8 serious, the job went "
    "on; 12 failed; "
    "2 command line or job file wrong, nothing was started; 130 or 143 stopped by a signal.";

void AddJobOptions(CLI::App &verb, JobOptions &options)
{
    verb.add_option("job", options.file, "the job file")->required()->type_name("JOB.toml");
    verb.add_option("--instances", options.instances,
                    "how many instances read, instead of the job file's number")
        ->type_name("N");
    verb.add_option(
            "--set", options.settings,
            "a value instead of the job file's, such as producer.SkipRows=1; may be repeated")
        ->type_name("SECTION.NAME=VALUE")
        ->allow_extra_args(false);
}

void AddGuessOptions(CLI::App &verb, GuessOptions &options)
{
    verb.add_option("files", options.files, "the data files, all of one kind and in one folder")
        ->required()
        ->type_name("FILE");
    verb.add_option("-o,--output", options.output,
                    "the job file to write; without it standard output")
        ->type_name("JOB.toml");
    verb.add_flag("--force", options.force, "the job file may replace one that is there");
    verb.add_option("--header", options.header, "whether the files begin with column names")
        ->check(CLI::IsMember({"guess", "yes", "no"}))
        ->type_name("WHAT");
}

void AddRunOptions(CLI::App &verb, RunOptions &options)
{
    AddJobOptions(verb, options.job);
    verb.add_option("--progress", options.progress, "auto, line (for logs) or off")
        ->check(CLI::IsMember({"auto", "line", "off"}))
        ->type_name("KIND");
    verb.add_flag("--json", options.json, "one JSON object with the result on standard output");
    verb.footer(kExitStatus);
}

struct CommandLine {
    CLI::App app;
    RunOptions run;
    ResumeOptions resume;
    StatusOptions status;
    JobOptions check;
    GuessOptions guess;
    RejectsOptions rejects;
    PreviewOptions preview;
    std::string explain, list, docs;
    std::function<int()> chosen;

    CommandLine()
    {
        CLI::App *verb = Verb("run", "runs a job", [this] { return RunVerb(run); });
        AddRunOptions(*verb, run);
        verb->add_flag("--fresh", run.fresh,
                       "begins anew where an earlier run could go on, and forgets its checkpoint");

        verb =
            Verb("resume", "goes on from the last checkpoint of a run that did not come to its end",
                 [this] { return ResumeVerb(resume); });
        AddRunOptions(*verb, resume.run);
        verb->add_flag("--accept-changed", resume.accept_changed,
                       "reads on in input files that are not as they were at the checkpoint");

        verb = Verb("status", "says what became of a job, and what it could go on from",
                    [this] { return StatusVerb(status); });
        AddJobOptions(*verb, status.job);
        verb->add_flag("--json", status.json, "one JSON object on standard output");

        verb = Verb("check", "says whether a job could run, and changes nothing",
                    [this] { return CheckVerb(check); });
        AddJobOptions(*verb, check);

        verb = Verb("guess", "writes a job file that would load the files",
                    [this] { return GuessVerb(guess); });
        AddGuessOptions(*verb, guess);

        verb = Verb("preview", "shows the first rows of a job, and loads nothing",
                    [this] { return PreviewVerb(preview); });
        AddJobOptions(*verb, preview.job);
        verb->add_option("--rows", preview.rows, "how many; 10 without it")
            ->check(CLI::Range(1, 1000))
            ->type_name("N");

        verb = Verb("explain", "says what a message or an attribute means",
                    [this] { return ExplainVerb(explain); });
        verb->add_option("word", explain, "a number such as 19112 or QLX19112, or an attribute")
            ->required();

        verb = Verb("list", "lists attributes, types, messages, sources or targets",
                    [this] { return ListVerb(list); });
        verb->add_option("subject", list, "attributes, types, messages, sources or targets")
            ->required();

        AddRejects();

        Verb("version", "prints the version", VersionVerb);

        verb = Verb("docs", "prints a generated page", [this] { return DocsVerb(docs); });
        verb->add_option("page", docs)->required();
        verb->group("");  // for those who build the program
    }

private:
    void AddRejects()
    {
        CLI::App *both = app.add_subcommand("rejects", "the bad records of a job's last run");
        both->require_subcommand(1);
        CLI::App *verb = Verb(
            "show", "shows them", [this] { return RejectsShowVerb(rejects); }, both);
        AddJobOptions(*verb, rejects.run.job);
        verb->add_option("--limit", rejects.limit, "how many; 100 in the table without it")
            ->check(CLI::NonNegativeNumber)
            ->type_name("N");
        verb->add_flag("--json", rejects.run.json, "one JSON object a record");
        verb = Verb(
            "retry", "loads those that were left out from the (repaired) record error file",
            [this] { return RejectsRetryVerb(rejects); }, both);
        AddRunOptions(*verb, rejects.run);
        verb->add_flag("--anyway", rejects.anyway,
                       "also where it is not known whether the records are loaded already");
        verb->add_flag("--no-remarks", rejects.no_remarks,
                       "the lines that RecordErrorVerbosity writes were taken out by hand");
    }

    CLI::App *Verb(const char *name, const char *about, std::function<int()> action,
                   CLI::App *parent = nullptr)
    {
        CLI::App *verb = (parent != nullptr ? parent : &app)->add_subcommand(name, about);
        verb->callback([this, action = std::move(action)] { chosen = action; });
        return verb;
    }
};

// What stands first must be a verb: the parser's own words for that help nobody.
void CheckVerbName(const CommandLine &line, const std::string &word)
{
    std::vector<std::string> names;
    for (const CLI::App *verb : line.app.get_subcommands([](const CLI::App *) { return true; })) {
        if (verb->get_name() == word)
            return;
        if (!verb->get_group().empty())
            names.push_back(verb->get_name());
    }
    const std::vector<std::string_view> words(names.begin(), names.end());
    const std::string nearest = DidYouMean(word, words);
    throw UsageError(fmt::format("there is no verb {}", Quoted(word)),
                     !nearest.empty()          ? nearest
                     : word.ends_with(".toml") ? fmt::format("fenwire run {}", Escaped(word))
                                               : "fenwire --help shows them");
}

int Main(int argc, char **argv)
{
    const std::string first = argc > 1 ? argv[1] : "";
    if (first.empty() || first == "--help" || first == "-h" || first == "help") {
        fmt::print(first.empty() ? stderr : stdout, kHelp, kVersion);
        return first.empty() ? kExitRefused : kExitGood;
    }
    if (first == "--version")
        return VersionVerb();
    CommandLine line;
    CheckVerbName(line, first);
    line.app.name("fenwire");
    try {
        line.app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        const CLI::App *verb = line.app.get_subcommands().at(0);
        const auto below = verb->get_subcommands();
        fmt::print("{}", below.empty() ? verb->help("fenwire")
                                       : below.at(0)->help("fenwire " + verb->get_name()));
        return kExitGood;
    } catch (const CLI::ParseError &error) {
        throw UsageError(error.what(), fmt::format("fenwire {} --help shows the options", first));
    }
    const int status = line.chosen();
    if (fflush(stdout) != 0)
        throw std::runtime_error(
            fmt::format("standard output can't be written: {}", strerror(errno)));
    return status;
}

// What a caller closed would be given to the next file, which would then be read as standard input, or
// written to as output. So it is taken by something that can be neither read nor written.
void KeepStandardDescriptors()
{
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0)
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace
}  // namespace fenwire

int main(int argc, char **argv)
{
    using namespace fenwire;
    KeepStandardDescriptors();
    // A limit on the size of files is met by a write that says so, and a summary of what became of the job.
    signal(SIGXFSZ, SIG_IGN);
    try {
        return Main(argc, argv);
    } catch (const JobError &error) {
        fmt::print(stderr, "{}\n", error.what());
        return kExitRefused;
    } catch (const UsageError &error) {
        PrintError(error.what(), error.hint, error.details);
        return kExitRefused;
    } catch (const std::exception &error) {
        PrintError(error.what());
        return kExitFailed;
    }
}
