#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Ends the process, saying what did not hold, whatever the kind of build.
#define ALWAYS(condition)                                           \
  do {                                                              \
    if (!(condition)) fuzz::Broken(__FILE__, __LINE__, #condition); \
  } while (false)

/// What the targets share. Each target is one file that defines Try.
namespace fuzz {

/// Tries one input. An exception that leaves it is a finding, and so is an ALWAYS that does not
/// hold.
void Try(std::string_view input);

[[noreturn]] void Broken(const char* file, int line, const char* condition);

/// Cuts the next part off `rest`: parts are separated by lines of "----", so that the files of a
/// corpus can be read.
std::string Part(std::string_view& rest);

/// The lines of `text`, without their line feeds; a last one that has none counts too.
std::vector<std::string> Lines(std::string_view text);

/// The bytes behind a percent-encoded text, which must be one.
std::string PercentDecoded(std::string_view text);

}  // namespace fuzz
