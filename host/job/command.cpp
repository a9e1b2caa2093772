// host/job/command.cpp

#include "host/job/command.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>

namespace fenwire {

namespace {

// A path as short as it can be told from where the user stands.
std::string Shown(const std::filesystem::path &path)
{
    std::error_code failure;
    const std::filesystem::path near = std::filesystem::proximate(path, failure);
    return failure || near.string().starts_with("..") ? path.string() : near.string();
}

// One word for a shell.
std::string Word(const std::string &text)
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
    std::string command = fmt::format("fenwire {} {}", verb, Word(Shown(job.file)));
    for (const Override &given : job.overrides)
        command += given.step == kReadingStep
                       ? fmt::format(" --{} {}", given.name, Word(given.value))
                       : " --set " + Word(given.step + "." + given.name + "=" + given.value);
    return command;
}

}  // namespace fenwire
