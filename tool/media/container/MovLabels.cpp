// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/MovLabels.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <string_view>

#include "base/Errors.h"
#include "bitstream/BigEndian.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;

constexpr vix::FourCC kTitle = MakeFourCC("\251nam");
constexpr std::array<vix::FourCC, 6> kProRes{MakeFourCC("apco"), MakeFourCC("apcs"),
                                             MakeFourCC("apcn"), MakeFourCC("apch"),
                                             MakeFourCC("ap4h"), MakeFourCC("ap4x")};

// Names of texts; the first one is that of the container library.
constexpr std::array<std::string_view, 2> kTitleKeys{"title", "com.apple.quicktime.title"};
constexpr std::array<std::string_view, 1> kReelKeys{"reel_name"};
constexpr std::array<std::string_view, 1> kTimecodeKeys{"timecode"};

[[noreturn]] void RefuseLabel(const std::string& name, const std::string& lacks) {
  throw Failure(name + ": " + lacks +
                "; leave out --in-place: 'vixprores copy' with an OUTPUT sets the label");
}

void WriteU16(std::uint8_t* bytes, std::size_t value) {
  prores::WriteU16(bytes, static_cast<std::uint16_t>(value));
}

constexpr std::size_t kVideoEntryBytes = 78;
constexpr std::size_t kTimecodeEntryBytes = 26;

// Returns the first sample description with one of those types, and its track. Skips descriptions
// of less than `bytes` bytes.
struct FoundEntry {
  Atom* track = nullptr;
  Atom* entry = nullptr;
};
FoundEntry FindEntry(Atom& movie, std::span<const vix::FourCC> types, std::size_t bytes) {
  for (Atom& track : movie.children) {
    if (track.type != MakeFourCC("trak")) continue;
    Atom* const entries = track.Find(
        {MakeFourCC("mdia"), MakeFourCC("minf"), MakeFourCC("stbl"), MakeFourCC("stsd")});
    if (!entries) continue;
    const auto found = std::ranges::find_if(entries->children, [&](const Atom& entry) {
      return std::ranges::find(types, entry.type) != types.end() && entry.bytes.size() >= bytes;
    });
    if (found != entries->children.end()) return {&track, &*found};
  }
  return {};
}

void SetColour(const Colour& colour, Atom& entry) {
  constexpr std::string_view kVideoColour = "nclc";
  Atom& atom = entry.Add(MakeFourCC("colr"));
  const bool isOfIso = atom.bytes.size() == 11 && atom.bytes[3] == 'x';  // "nclx", with the range
  if (!isOfIso) {
    atom.bytes.assign(10, 0);
    std::ranges::copy(kVideoColour, atom.bytes.begin());
  }
  WriteU16(atom.bytes.data() + 4, static_cast<std::size_t>(colour.primaries));
  WriteU16(atom.bytes.data() + 6, static_cast<std::size_t>(colour.transfer));
  WriteU16(atom.bytes.data() + 8, static_cast<std::size_t>(colour.matrix));
}

// Some programs state the width as displayed in the track's header, others as coded.
void SetDisplayWidth(Rational aspect, const Atom& entry, Atom& track) {
  Atom* const header = track.Find({MakeFourCC("tkhd")});
  constexpr std::size_t kWidth[] = {76, 88};  // by the version
  if (!header || header->bytes.empty()) return;
  const std::size_t place = kWidth[header->bytes[0] == 1 ? 1 : 0];
  if (header->bytes.size() < place + 8) return;
  const std::uint64_t coded = prores::ReadU16(entry.bytes.data() + 24);
  std::uint8_t* const width = header->bytes.data() + place;
  if (prores::ReadU32(width) == coded << 16U) return;
  const double shown = static_cast<double>(coded << 16U) * aspect.numerator / aspect.denominator;
  if (shown < UINT32_MAX) prores::WriteU32(width, static_cast<std::uint32_t>(shown));
}

void SetAspect(Rational aspect, const FoundEntry& video) {
  Atom& atom = video.entry->Add(MakeFourCC("pasp"));
  atom.bytes.assign(8, 0);
  prores::WriteU32(atom.bytes.data(), static_cast<std::uint32_t>(aspect.numerator));
  prores::WriteU32(atom.bytes.data() + 4, static_cast<std::uint32_t>(aspect.denominator));
  video.track->Remove(MakeFourCC("tapt"));  // sizes that follow from the aspect
  SetDisplayWidth(aspect, *video.entry, *video.track);
}

void SetVideoLabels(const MovLabels& labels, const std::string& name, Atom& movie) {
  if (!labels.colour && !labels.sampleAspect) return;
  const FoundEntry video = FindEntry(movie, kProRes, kVideoEntryBytes);
  if (!video.entry) RefuseLabel(name, "its movie header has an unknown layout");
  if (labels.colour) SetColour(*labels.colour, *video.entry);
  if (labels.sampleAspect) SetAspect(*labels.sampleAspect, video);
}

// Returns the position of the first sample of a track.
std::optional<std::int64_t> FindFirstSample(Atom& track) {
  Atom* const table = track.Find({MakeFourCC("mdia"), MakeFourCC("minf"), MakeFourCC("stbl")});
  const Atom* const offsets = table ? table->Find({MakeFourCC("stco")}) : nullptr;
  if (offsets && offsets->bytes.size() >= 12) return prores::ReadU32(offsets->bytes.data() + 8);
  const Atom* const large = table ? table->Find({MakeFourCC("co64")}) : nullptr;
  if (!large || large->bytes.size() < 16) return std::nullopt;
  const std::uint64_t position = prores::ReadU64(large->bytes.data() + 8);
  return position <= INT64_MAX ? std::optional(static_cast<std::int64_t>(position)) : std::nullopt;
}

// Returns a text with the size and the language before it.
std::vector<std::uint8_t> PackText(const std::string& text, std::uint16_t language) {
  std::vector<std::uint8_t> bytes(4);
  WriteU16(bytes.data(), text.size());
  prores::WriteU16(bytes.data() + 2, language);
  std::ranges::copy(text, std::back_inserter(bytes));
  return bytes;
}

void SetPackedText(const std::string& text, Atom& atom) {
  constexpr std::uint16_t kEnglish = 0;
  const bool hasLanguage = atom.bytes.size() >= 4;
  atom.bytes = PackText(text, hasLanguage ? prores::ReadU16(atom.bytes.data() + 2) : kEnglish);
}

std::optional<TimecodeSample> SetTimecodeLabels(const MovLabels& labels, const std::string& name,
                                                Atom& movie) {
  constexpr std::size_t kFlags = 12;  // in the sample description
  constexpr std::uint32_t kDropFrame = 1;
  if (!labels.timecode && !labels.reel) return std::nullopt;
  const vix::FourCC type = MakeFourCC("tmcd");
  const FoundEntry found = FindEntry(movie, {&type, 1}, kTimecodeEntryBytes);
  if (!found.entry) RefuseLabel(name, "has no timecode track");
  if (labels.reel) SetPackedText(*labels.reel, found.entry->Add(MakeFourCC("name")));
  if (!labels.timecode) return std::nullopt;
  std::uint8_t* const flags = found.entry->bytes.data() + kFlags;
  const std::uint32_t others = prores::ReadU32(flags) & ~kDropFrame;
  prores::WriteU32(flags, others | (labels.timecode->IsDropFrame() ? kDropFrame : 0));
  const auto position = FindFirstSample(*found.track);
  if (!position) RefuseLabel(name, "its timecode track has no sample");
  TimecodeSample sample{*position};
  prores::WriteU32(sample.bytes.data(), static_cast<std::uint32_t>(labels.timecode->FrameOfDay()));
  return sample;
}

// Returns the place, from 0, of the first of those names in a list of keys; nullopt if it has none.
std::optional<std::size_t> FindKey(const Atom& keys, std::span<const std::string_view> names) {
  constexpr std::size_t kList = 8;    // version and number
  constexpr std::size_t kHeader = 8;  // size and namespace of a key
  std::size_t position = kList;
  for (std::size_t place = 0; position + kHeader <= keys.bytes.size(); ++place) {
    const std::size_t size = prores::ReadU32(keys.bytes.data() + position);
    if (size < kHeader || size > keys.bytes.size() - position) return std::nullopt;
    const std::string_view key(
        reinterpret_cast<const char*>(keys.bytes.data() + position + kHeader), size - kHeader);
    if (std::ranges::find(names, key) != names.end()) return place;
    position += size;
  }
  return std::nullopt;
}

// Adds a key; returns its place.
std::size_t AddKey(Atom& keys, std::string_view name) {
  const std::uint32_t count = prores::ReadU32(keys.bytes.data() + 4);
  prores::WriteU32(keys.bytes.data() + 4, count + 1);
  const Atom key{MakeFourCC("mdta"), {name.begin(), name.end()}};
  std::ranges::copy(WriteAtom(key), std::back_inserter(keys.bytes));
  return count;
}

// The value of a key is an atom whose type is the number of the key, from 1.
void SetKeyValue(Atom& values, std::size_t key, const std::string& text) {
  constexpr std::uint8_t kUtf8 = 1;
  Atom& value = values.Add(__builtin_bswap32(static_cast<std::uint32_t>(key + 1)));
  Atom data{MakeFourCC("data"), {0, 0, 0, kUtf8, 0, 0, 0, 0}};
  std::ranges::copy(text, std::back_inserter(data.bytes));
  value.bytes = WriteAtom(data);
}

// Sets a text with a key. Returns false if the movie has no such texts, or not this one and it must
// not be added.
bool SetKeyedText(Atom& movie, std::span<const std::string_view> names, const std::string& text,
                  bool adds) {
  // Programs put the texts beside the tracks or among the user data.
  Atom* texts = movie.Find({MakeFourCC("meta")});
  if (!texts) texts = movie.Find({MakeFourCC("udta"), MakeFourCC("meta")});
  Atom* const keys = texts ? texts->Find({MakeFourCC("keys")}) : nullptr;
  Atom* const values = texts ? texts->Find({MakeFourCC("ilst")}) : nullptr;
  if (!keys || !values || keys->bytes.size() < 8) return false;
  auto key = FindKey(*keys, names);
  if (!key && !adds) return false;
  if (!key) key = AddKey(*keys, names.front());
  SetKeyValue(*values, *key, text);
  return true;
}

Atom& RequireMovie(const std::string& name, Atom& root) {
  Atom* const movie = root.Find({MakeFourCC("moov")});
  if (!movie) RefuseLabel(name, "its movie header has an unknown layout");
  return *movie;
}

}  // namespace

std::optional<TimecodeSample> SetMovLabels(const MovLabels& labels, const std::string& name,
                                           Atom& root) {
  Atom& movie = RequireMovie(name, root);
  SetVideoLabels(labels, name, movie);
  if (labels.title) {
    // Players may read either text.
    const bool isKeyed = SetKeyedText(movie, kTitleKeys, *labels.title, false);
    const bool hasPlain = movie.Find({MakeFourCC("udta"), kTitle}) != nullptr;
    if (!isKeyed || hasPlain) {
      SetPackedText(*labels.title, movie.Add(MakeFourCC("udta")).Add(kTitle));
    }
  }
  return SetTimecodeLabels(labels, name, movie);
}

void SetDescriptionLabels(const MovLabels& labels, const std::string& name, Atom& root) {
  Atom& movie = RequireMovie(name, root);
  SetVideoLabels(labels, name, movie);
  bool isSet = true;
  if (labels.title) isSet = SetKeyedText(movie, kTitleKeys, *labels.title, true);
  if (labels.reel) isSet = SetKeyedText(movie, kReelKeys, *labels.reel, true) && isSet;
  if (labels.timecode) {
    isSet = SetKeyedText(movie, kTimecodeKeys, labels.timecode->ToText(), true) && isSet;
  }
  if (!isSet) RefuseLabel(name, "the description before its packets has an unknown layout");
}

}  // namespace vixprores
