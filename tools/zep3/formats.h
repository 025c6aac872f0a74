// The file formats that results are written in.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct Format {
  std::string_view name;
  std::string_view loader;                  // libvips' loader begins with this
  std::vector<std::string_view> extensions; // the first one is for new names
};

const std::vector<Format>& Formats();

// By a file name's extension, in any case; null when it is none of ours.
const Format* FormatOfName(const std::string& name);

// By the name of libvips' loader; null when results are not written in what it reads.
const Format* FormatOfLoader(const std::string& loader);

// A name with options for libvips in brackets behind it: "scan.tif[compression=lzw]". The brackets stay with the
// options; a name of an existing file is a name throughout.
struct NameWithOptions {
  std::string name;
  std::string options; // "[...]" or empty
};
NameWithOptions SplitOptions(const std::string& text);

// "[a=1,b]" and "[c=2]" in one pair of brackets. What `user` sets replaces what `own` sets.
std::string JoinOptions(const std::vector<std::pair<std::string, std::string>>& own, const std::string& user);
