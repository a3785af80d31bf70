// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/SequenceName.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <map>
#include <span>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 10> kExtensions{".exr", ".dpx",  ".tif", ".tiff", ".png",
                                                       ".jpg", ".jpeg", ".tga", ".cin",  ".cineon"};

constexpr std::size_t kMostDigits = 9;  // of kLargestFileNumber

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// A place for numbers in the text of a pattern.
struct Place {
  std::size_t begin;
  std::size_t end;
  int digits;
};

// Parses "%d" or "%04d" at `begin`.
std::optional<Place> ParseDirective(std::string_view text, std::size_t begin) {
  std::size_t end = begin + 1;
  int digits = 1;
  if (end + 1 < text.size() && text[end] == '0' && IsDigit(text[end + 1])) {
    digits = text[end + 1] - '0';
    end += 2;
  }
  if (end >= text.size() || text[end] != 'd') return std::nullopt;
  return Place{begin, end + 1, std::max(digits, 1)};
}

std::optional<Place> ParsePlace(std::string_view text, std::size_t begin) {
  if (text[begin] == '%') return ParseDirective(text, begin);
  if (text[begin] == '*') return Place{begin, begin + 1, 0};
  if (text[begin] != '#') return std::nullopt;
  const std::size_t end = std::min(text.find_first_not_of('#', begin), text.size());
  return Place{begin, end, static_cast<int>(std::min(end - begin, kMostDigits))};
}

// Splits the text of a pattern at its place for numbers.
class PatternParser {
 public:
  explicit PatternParser(std::string_view text) : text_(text) {}

  bool Parse(SequenceName& name) {
    std::string* part = &name.prefix;
    for (std::size_t i = 0; i < text_.size();) {
      if (const auto place = ParsePlace(text_, i)) {
        if (part == &name.suffix) RefuseTwoPlaces();
        name.digits = place->digits;
        part = &name.suffix;
        i = place->end;
        continue;
      }
      *part += text_[i];
      i += text_.substr(i, 2) == "%%" ? 2U : 1U;
    }
    return part == &name.suffix;
  }

 private:
  [[noreturn]] void RefuseTwoPlaces() const {
    throw UsageError("'" + std::string(text_) +
                     "': has two places for the number of a file; write one %04d, #### or *");
  }

  std::string_view text_;
};

// Returns the name of the sequence that a numbered file belongs to, except for its padding.
std::optional<SequenceName> NameAround(const std::string& fileName) {
  const std::size_t stem = fileName.rfind('.');
  const std::size_t last = fileName.find_last_of("0123456789", stem);
  if (last == std::string::npos) return std::nullopt;
  const std::size_t before = fileName.find_last_not_of("0123456789", last);
  const std::size_t first = before == std::string::npos ? 0 : before + 1;
  if (last - first + 1 > kMostDigits) return std::nullopt;
  return SequenceName{{}, fileName.substr(0, first), fileName.substr(last + 1), 0};
}

// Digits of the numbers of a sequence: the padding that all of them have, or 0.
int FindPadding(const SequenceName& name, const std::vector<std::string>& fileNames) {
  const std::size_t fixed = name.prefix.size() + name.suffix.size();
  const auto shortest = std::ranges::min(fileNames, {}, &std::string::size).size() - fixed;
  SequenceName padded = name;
  padded.digits = static_cast<int>(shortest);
  const bool isPadding = std::ranges::all_of(
      fileNames, [&](const std::string& file) { return padded.NumberIn(file).has_value(); });
  return isPadding ? padded.digits : 0;
}

// Calls `take` with the name of each visible image file of a folder.
template <typename Take>
void ForEachImage(const std::string& folder, const Take& take) {
  std::error_code error;
  fs::directory_iterator entry(folder.empty() ? "." : folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string file = entry->path().filename().string();
    std::error_code unknown;
    if (!file.starts_with('.') && IsImageName(file) && entry->is_regular_file(unknown)) take(file);
  }
  if (error) {
    throw Failure((folder.empty() ? "." : folder) + ": cannot be read: " + error.message());
  }
}

std::string Escape(const std::string& text) {
  return Replace(text, "%", "%%");
}

std::vector<SequenceName> FindSequences(const std::string& folder) {
  std::map<std::pair<std::string, std::string>, std::vector<std::string>> groups;
  ForEachImage(folder, [&groups](const std::string& file) {
    if (const auto name = NameAround(file)) groups[{name->prefix, name->suffix}].push_back(file);
  });
  const bool hasLong =
      std::ranges::any_of(groups, [](auto& group) { return group.second.size() > 1; });
  std::vector<SequenceName> names;
  for (const auto& [parts, files] : groups) {
    if (hasLong && files.size() == 1) continue;
    SequenceName name{folder, parts.first, parts.second, 0};
    name.digits = FindPadding(name, files);
    names.push_back(std::move(name));
  }
  return names;
}

FrameRange NumbersOf(const ImageFiles& images) {
  return {images.files.front().number, images.files.back().number};
}

[[noreturn]] void RefuseSeveral(const std::string& folder, const std::vector<SequenceName>& names) {
  constexpr std::size_t kMostListed = 20;
  std::string list;
  for (const SequenceName& name : std::span(names).first(std::min(names.size(), kMostListed))) {
    list +=
        "\n  " + PrintableLine(name.ToText()) + " " + DescribeNumbers({NumbersOf(FindFiles(name))});
  }
  if (names.size() > kMostListed) {
    list += "\n  and " + std::to_string(names.size() - kMostListed) + " more";
  }
  throw Failure(folder + ": holds " + std::to_string(names.size()) +
                " image sequences; name one of them:" + list);
}

}  // namespace

std::string SequenceName::PathOf(std::int64_t number) const {
  std::string text = std::to_string(number);
  const auto width = static_cast<std::size_t>(digits);
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  return folder + prefix + text + suffix;
}

std::string SequenceName::Stem() const {
  constexpr const char* kSeparators = "._- ";
  const std::string stem = prefix.substr(0, prefix.find_last_not_of(kSeparators) + 1) +
                           suffix.substr(0, suffix.rfind('.'));
  return stem.empty() ? NameOfFolder(folder) : stem;
}

std::optional<std::int64_t> SequenceName::NumberIn(std::string_view fileName) const {
  if (fileName.size() <= prefix.size() + suffix.size()) return std::nullopt;
  if (!fileName.starts_with(prefix) || !fileName.ends_with(suffix)) return std::nullopt;
  fileName.remove_prefix(prefix.size());
  fileName.remove_suffix(suffix.size());
  const auto width = static_cast<std::size_t>(digits);
  const bool isPadded = fileName.size() == width || (fileName.size() > width && fileName[0] != '0');
  if (digits > 0 && !isPadded) return std::nullopt;
  return ParseNumber(fileName, kLargestFileNumber);
}

std::string SequenceName::ToText() const {
  std::string place = "*";
  if (digits > 0) place = digits == 1 ? "%d" : "%0" + std::to_string(digits) + "d";
  return folder + Escape(prefix) + place + Escape(suffix);
}

std::string NameOfFolder(const std::string& path) {
  const fs::path folder = fs::absolute(path.empty() ? "." : path).lexically_normal();
  // A slash at the end begins an empty name.
  return (folder.has_filename() ? folder : folder.parent_path()).filename().string();
}

bool IsImageName(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::string extension = ToLower(std::string(path.substr(dot)));
  return std::ranges::find(kExtensions, extension) != kExtensions.end();
}

std::optional<SequenceName> ParseSequenceName(const std::string& path) {
  if (!IsImageName(path)) return std::nullopt;
  const std::size_t slash = path.rfind('/');
  const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
  SequenceName name;
  name.folder = path.substr(0, begin);
  if (!PatternParser(std::string_view(path).substr(begin)).Parse(name)) return std::nullopt;
  return name;
}

ImageFiles FindFiles(const SequenceName& name) {
  ImageFiles images{name.ToText(), {}};
  ForEachImage(name.folder, [&](const std::string& file) {
    if (const auto number = name.NumberIn(file)) {
      images.files.push_back({*number, name.folder + file});
    }
  });
  if (images.files.empty()) throw Failure(images.name + ": there are no such files");
  std::ranges::sort(images.files, {}, [](const NumberedFile& file) {
    return std::pair<std::int64_t, std::string_view>(file.number, file.path);
  });
  const auto twice = std::ranges::adjacent_find(images.files, {}, &NumberedFile::number);
  if (twice != images.files.end()) {
    throw Failure(images.name + ": two files have the number " + std::to_string(twice->number) +
                  " (" + twice->path + " and " + std::next(twice)->path +
                  "); name one padding, for example with %04d");
  }
  return images;
}

ImageFiles FindOnlySequence(const std::string& folder) {
  const std::string path = folder.ends_with('/') ? folder : folder + "/";
  const auto names = FindSequences(path);
  if (names.empty()) {
    throw Failure(folder +
                  ": is a folder without image files that have numbers in their names; "
                  "--output-dir takes the videos in it");
  }
  if (names.size() > 1) RefuseSeveral(folder, names);
  return FindFiles(names.front());
}

std::optional<ImageFiles> FindImages(const std::string& path) {
  std::error_code error;
  const auto status = fs::status(path, error);
  if (fs::is_directory(status)) return FindOnlySequence(path);
  if (!fs::exists(status)) {
    const auto name = ParseSequenceName(path);
    return name ? std::optional(FindFiles(*name)) : std::nullopt;
  }
  if (!fs::is_regular_file(status) || !IsImageName(path)) return std::nullopt;
  const std::string file = fs::path(path).filename().string();
  const auto name = NameAround(file);
  return ImageFiles{path, {{name ? name->NumberIn(file).value_or(0) : 0, path}}};
}

std::vector<FrameRange> FindMissingNumbers(const ImageFiles& images, const FrameRange& range) {
  std::vector<FrameRange> missing;
  std::int64_t next = range.first;
  for (const NumberedFile& file : images.files) {
    if (file.number < next || file.number > range.last) continue;
    if (file.number > next) missing.push_back({next, file.number - 1});
    next = file.number + 1;
  }
  if (next <= range.last) missing.push_back({next, range.last});
  return missing;
}

std::string DescribeNumbers(const std::vector<FrameRange>& ranges) {
  constexpr std::size_t kMostListed = 20;
  std::vector<std::string> words;
  for (const FrameRange& range : ranges) {
    if (words.size() == kMostListed) {
      words.push_back(std::to_string(ranges.size() - kMostListed) + " more ranges");
      break;
    }
    words.push_back(Describe(range));
  }
  return JoinWords(words);
}

}  // namespace vixprores
