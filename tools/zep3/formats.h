// The file formats: those that results are written in, and those that are only read.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct Format {
  std::string_view name;
  std::string_view loader;                  // libvips' loader of files; with "_source" behind it, that of streams
  std::string_view loaderClass;             // what all its loaders derive from
  std::vector<std::string_view> extensions; // the first one is for new names
  bool (*holds)(std::string_view head);     // whether a file that begins so is one
};

// Bytes at the beginning of a file that tell its format.
inline constexpr size_t kFormatHead = 32;

// Read and written.
const std::vector<Format>& Formats();
// Read where the user asks for it by name, see Admission.
const std::vector<Format>& FormatsOnDemand();

// By a file name's extension, in any case; null when it is none of those that are written.
const Format* FormatOfName(const std::string& name);
// The same, those on demand too.
const Format* AnyFormatOfName(const std::string& name);

// Of all, by a file's first bytes.
const Format* FormatOfContent(std::string_view head);

bool IsOnDemand(const Format& format);

// Names of formats with commas between. Throws UsageError for what is none of FormatsOnDemand().
std::vector<const Format*> ParseFormatsOnDemand(const std::string& text);

// A name with options for libvips in brackets behind it: "scan.tif[compression=lzw]". The brackets stay with the
// options; a name of an existing file is a name throughout.
struct NameWithOptions {
  std::string name;
  std::string options; // "[...]" or empty
};
NameWithOptions SplitOptions(const std::string& text);

// Whether "[a=1,b]" sets `key`, written with '-' or '_'.
bool HasOption(const std::string& options, const std::string& key);

// "[a=1,b]" and "[c=2]" in one pair of brackets. What `user` sets replaces what `own` sets.
std::string JoinOptions(const std::vector<std::pair<std::string, std::string>>& own, const std::string& user);
