// host/job/command.cpp

#include "host/job/command.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

// One word for a shell.
std::string ShellWord(const std::string &text)
{
    constexpr std::string_view kHarmless = "_./=+,:@%-";
    const auto plain = [&](char c) {
        return isalnum(static_cast<unsigned char>(c)) != 0 ||
               kHarmless.find(c) != std::string_view::npos;
    };
    if (!text.empty() && std::ranges::all_of(text, plain))
        return text;
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

}  // namespace

std::string JobCommand(const std::string &verb, const Job &job)
{
    std::string command = fmt::format("fenwire {} {}", verb, ShellWord(ShownPath(job.file)));
    for (const Override &given : job.overrides)
        command += given.step == kReadingStep
                       ? fmt::format(" --{} {}", given.name, ShellWord(given.value))
                       : " --set " + ShellWord(given.step + "." + given.name + "=" + given.value);
    return command;
}

}  // namespace fenwire
