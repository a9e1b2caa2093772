// host/job/words.h - words as people write them: compared, guessed, quoted.

#ifndef FENWIRE_HOST_JOB_WORDS_H
#define FENWIRE_HOST_JOB_WORDS_H

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace fenwire {

std::string UpperCase(std::string_view text);           // ASCII letters only
bool SameWord(std::string_view a, std::string_view b);  // but for the case of ASCII letters

inline constexpr std::string_view kBlanks = " \t\r\n";
std::string_view Trimmed(std::string_view text);  // without the blanks around it

// Single edits (insert, delete, replace, exchange of neighbours) between two words, case aside.
size_t EditDistance(std::string_view a, std::string_view b);

// The word that was most likely meant; empty when none is near enough to be a help.
std::string_view NearestWord(std::string_view word, std::span<const std::string_view> words);

// "did you mean \"x\"?", or empty.
std::string DidYouMean(std::string_view word, std::span<const std::string_view> words);

// "A, B or C".
std::string OrList(std::span<const std::string_view> words);

// Control bytes and bytes that are no UTF-8 as \x0a; all else as it stands.
std::string Escaped(std::string_view text);

// In double quotes, escaped; cut when it is longer than a person would read.
std::string Quoted(std::string_view text);

// A name as SQL takes it whatever it holds: "or""der".
std::string SqlName(std::string_view name);

// A path as short as it can be told from where the user stands.
std::string ShownPath(const std::filesystem::path &path);

// Length of the UTF-8 character at the start of text, 0 when there is none.
size_t Utf8Length(std::string_view text);

}  // namespace fenwire

#endif
