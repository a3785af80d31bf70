// SPDX-License-Identifier: BSD-2-Clause
#include "ReferenceCodec.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <stdexcept>
#include <string>

namespace reference {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

std::size_t Index(int i) {
  return static_cast<std::size_t>(i);
}

// --- Scans: by scan position, a digit each for the horizontal and the vertical frequency.

const char* const kProgressivePath =
    "00 10 01 11 20 30 21 31 02 12 03 13 22 32 23 33 "
    "40 50 41 42 51 60 70 61 52 43 53 62 71 72 63 73 "
    "04 14 05 06 15 24 34 25 16 07 17 26 35 44 54 45 "
    "36 27 37 46 55 64 74 65 56 47 57 66 75 76 67 77";

const char* const kInterlacedPath =
    "00 01 10 11 02 03 12 13 20 21 30 31 22 23 32 33 "
    "04 05 14 24 15 06 07 16 25 34 35 26 17 27 36 37 "
    "40 41 50 60 51 42 43 52 61 70 71 62 53 44 45 54 "
    "63 72 73 64 55 46 47 56 65 74 75 66 57 67 76 77";

std::array<int, 64> ScanOf(bool interlaced) {
  const char* path = interlaced ? kInterlacedPath : kProgressivePath;
  std::array<int, 64> scan{};
  for (int s = 0; s < 64; ++s) {
    const int u = path[3 * s] - '0';
    const int v = path[3 * s + 1] - '0';
    scan[Index(s)] = 8 * v + u;
  }
  return scan;
}

// --- Bits and codewords

class BitSink {
 public:
  void Put(long long value, int count) {
    for (int i = count - 1; i >= 0; --i) {
      if (used_ % 8 == 0) bytes_.push_back(0);
      if ((value >> i & 1) != 0) bytes_.back() |= static_cast<std::uint8_t>(0x80 >> used_ % 8);
      ++used_;
    }
  }
  void PutCode(int lastRice, int rice, int golomb, long long value) {
    const long long firstGolomb = static_cast<long long>(lastRice + 1) << rice;
    if (value < firstGolomb) {
      const int zeros = static_cast<int>(value >> rice);
      Put(0, zeros);
      Put(1, 1);
      Put(value, rice);
      return;
    }
    const long long w = value - firstGolomb + (1LL << golomb);
    int k = 0;
    while ((w >> (k + 1)) != 0) ++k;
    Put(0, lastRice + 1 + k - golomb);
    Put(w, k + 1);
  }
  const Bytes& Finish() const { return bytes_; }

 private:
  Bytes bytes_;
  int used_ = 0;
};

class BitSource {
 public:
  explicit BitSource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  int Bit() {
    Require(position_ < 8 * bytes_.size(), "data ends inside a codeword");
    const int bit = bytes_[position_ / 8] >> (7 - position_ % 8) & 1;
    ++position_;
    return bit;
  }
  long long Get(int count) {
    long long value = 0;
    for (int i = 0; i < count; ++i) value = 2 * value + Bit();
    return value;
  }
  long long GetCode(int lastRice, int rice, int golomb) {
    int zeros = 0;
    while (Bit() == 0) ++zeros;
    if (zeros <= lastRice) return (static_cast<long long>(zeros) << rice) + Get(rice);
    const int k = zeros - (lastRice + 1) + golomb;
    Require(zeros + 1 + k <= 32, "a codeword longer than conforming data needs");
    return (1LL << k) + Get(k) - (1LL << golomb) + (static_cast<long long>(lastRice + 1) << rice);
  }
  bool OnlyZerosLeft() const {
    for (std::size_t p = position_; p < 8 * bytes_.size(); ++p) {
      if ((bytes_[p / 8] >> (7 - p % 8) & 1) != 0) return false;
    }
    return true;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

struct CodeParameters {
  int lastRice, rice, golomb;
};

CodeParameters DcCode(long long previous) {
  switch (std::llabs(previous)) {
    case 0:
      return {-1, 0, 0};
    case 1:
      return {-1, 0, 1};
    case 2:
      return {1, 2, 3};
    default:
      return {-1, 0, 3};
  }
}

CodeParameters RunCode(long long previous) {
  if (previous <= 1) return {2, 0, 1};
  if (previous <= 3) return {1, 0, 1};
  if (previous == 4) return {-1, 0, 0};
  if (previous <= 8) return {1, 1, 2};
  if (previous <= 14) return {-1, 0, 1};
  return {-1, 0, 2};
}

CodeParameters LevelCode(long long previous) {
  if (previous == 0) return {2, 0, 2};
  if (previous == 1) return {1, 0, 1};
  if (previous == 2) return {2, 0, 1};
  if (previous == 3) return {-1, 0, 0};
  if (previous <= 7) return {-1, 0, 1};
  return {-1, 0, 2};
}

long long Fold(long long x) {
  return x >= 0 ? 2 * x : -2 * x - 1;
}
long long Unfold(long long n) {
  return n % 2 == 0 ? n / 2 : -(n + 1) / 2;
}

// --- Geometry

struct Span {
  int first, count;
};

std::vector<Span> SlicesOfRow(int macroblocks, int log2Size) {
  std::vector<Span> spans;
  int size = 1 << log2Size;
  int first = 0;
  while (first < macroblocks) {
    while (macroblocks - first >= size) {
      spans.push_back({first, size});
      first += size;
    }
    size /= 2;
  }
  return spans;
}

struct Field {
  int firstLine, step, lines, rows;
};

Field FieldOf(int height, int interlaceMode, int picture) {
  if (interlaceMode == 0) return {0, 1, height, (height + 15) / 16};
  const bool top = (interlaceMode == 1) == (picture == 0);
  const int lines = top ? (height + 1) / 2 : height / 2;
  return {top ? 0 : 1, 2, lines, (lines + 15) / 16};
}

struct Point {
  int x, y;
};

Point BlockPlace(bool chroma, bool chroma444, int block) {
  if (!chroma) {
    const int part = block % 4;
    return {block / 4 * 16 + (part == 1 || part == 3 ? 8 : 0), part >= 2 ? 8 : 0};
  }
  if (!chroma444) return {block / 2 * 8, block % 2 == 1 ? 8 : 0};
  const int part = block % 4;
  return {block / 4 * 16 + (part >= 2 ? 8 : 0), part == 1 || part == 3 ? 8 : 0};
}

int BlocksOf(int component, bool chroma444, int macroblocks) {
  return macroblocks * (component == 0 || chroma444 ? 4 : 2);
}

int ScaleOf(int index) {
  const int clamped = std::clamp(index, 1, 224);
  return clamped <= 128 ? clamped : 128 + 4 * (clamped - 128);
}

const std::array<std::array<double, 8>, 8>& Basis() {
  static const auto basis = [] {
    std::array<std::array<double, 8>, 8> b{};  // [frequency][place]
    for (int u = 0; u < 8; ++u) {
      for (int x = 0; x < 8; ++x) {
        const double c = u == 0 ? std::sqrt(0.5) : 1.0;
        b[Index(u)][Index(x)] = c / 2 * std::cos((2 * x + 1) * u * std::numbers::pi / 16);
      }
    }
    return b;
  }();
  return basis;
}

// --- Writing

void PutNumber(Bytes& out, std::size_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void PatchNumber(Bytes& out, std::size_t at, std::size_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) {
    out[at + Index(i)] = static_cast<std::uint8_t>(value >> (8 * (bytes - 1 - i)));
  }
}

class Writer {
 public:
  Writer(const StreamSpec& spec, const Source& source) : spec_(spec), source_(source) {
    luma_.fill(4);
    if (spec.lumaMatrix) luma_ = *spec.lumaMatrix;
    chroma_ = spec.chromaMatrix ? *spec.chromaMatrix : luma_;
    scan_ = ScanOf(spec.interlaceMode != 0);
  }

  Stream Write() {
    FrameHeader();
    for (int picture = 0; picture < (spec_.interlaceMode == 0 ? 1 : 2); ++picture) {
      Picture(picture);
    }
    stream_.bytes.resize(stream_.bytes.size() + Index(spec_.framePaddingBytes));
    PatchNumber(stream_.bytes, 0, stream_.bytes.size(), 4);
    return stream_;
  }

 private:
  void FrameHeader() {
    Bytes& out = stream_.bytes;
    PutNumber(out, 0, 4);
    for (const char c : std::string("icpf")) out.push_back(static_cast<std::uint8_t>(c));
    const int matrices = (spec_.lumaMatrix ? 1 : 0) + (spec_.chromaMatrix ? 1 : 0);
    PutNumber(out, Index(20 + 64 * matrices + spec_.extraFrameHeaderBytes), 2);
    PutNumber(out, spec_.chroma444 || spec_.alphaType != 0 ? 1 : 0, 2);
    for (const char c : std::string("test")) out.push_back(static_cast<std::uint8_t>(c));
    PutNumber(out, Index(spec_.width), 2);
    PutNumber(out, Index(spec_.height), 2);
    PutNumber(out, Index((spec_.chroma444 ? 0xC0 : 0x80) | spec_.interlaceMode << 2), 1);
    PutNumber(out, 0, 1);
    PutNumber(out, 0x010101, 3);
    PutNumber(out, Index(spec_.alphaType), 1);
    PutNumber(out, 0, 1);
    PutNumber(out, (spec_.lumaMatrix ? 2u : 0u) | (spec_.chromaMatrix ? 1u : 0u), 1);
    if (spec_.lumaMatrix) {
      for (const int weight : luma_) PutNumber(out, Index(weight), 1);
    }
    if (spec_.chromaMatrix) {
      for (const int weight : chroma_) PutNumber(out, Index(weight), 1);
    }
    out.insert(out.end(), Index(spec_.extraFrameHeaderBytes), 0xEE);
  }

  void Picture(int picture) {
    Bytes& out = stream_.bytes;
    const std::size_t start = out.size();
    stream_.pictures.push_back(start);
    const Field field = FieldOf(spec_.height, spec_.interlaceMode, picture);
    int rows = field.rows;
    if (spec_.equalFieldRows) {
      rows = std::max(rows, FieldOf(spec_.height, spec_.interlaceMode, 1 - picture).rows);
    }
    const auto spans = SlicesOfRow((spec_.width + 15) / 16, spec_.log2SliceSize);
    const std::size_t slices = spans.size() * Index(rows);

    const int headerBytes = 8 + spec_.extraPictureHeaderBytes;
    PutNumber(out, Index(headerBytes << 3), 1);
    PutNumber(out, 0, 4);
    PutNumber(out, slices & 0xFFFF, 2);
    PutNumber(out, Index(spec_.log2SliceSize << 4), 1);
    out.insert(out.end(), Index(spec_.extraPictureHeaderBytes), 0xEE);
    std::size_t entry = out.size();
    out.resize(out.size() + 2 * slices);
    for (int row = 0; row < rows; ++row) {
      for (const Span& span : spans) {
        const Bytes slice = Slice(field, row, span);
        Require(slice.size() <= 65535, "slice too large");
        PatchNumber(out, entry, slice.size(), 2);
        entry += 2;
        stream_.slices.push_back({out.size(), slice.size(), picture, row, span.first, span.count});
        out.insert(out.end(), slice.begin(), slice.end());
      }
    }
    out.resize(out.size() + Index(spec_.picturePaddingBytes));
    PatchNumber(out, start + 1, out.size() - start, 4);
  }

  Bytes Slice(const Field& field, int row, const Span& span) {
    const int index = spec_.quantizationIndex(static_cast<int>(stream_.slices.size()));
    std::array<Bytes, 3> components;
    for (int c = 0; c < 3; ++c) components[Index(c)] = Component(field, row, span, c, index);

    const int extra = std::max(spec_.extraSliceHeaderBytes, spec_.alphaType != 0 ? 2 : 0);
    Bytes out;
    PutNumber(out, Index((6 + extra) << 3), 1);
    PutNumber(out, Index(index), 1);
    PutNumber(out, components[0].size(), 2);
    PutNumber(out, components[1].size(), 2);
    if (extra >= 2) PutNumber(out, components[2].size(), 2);
    out.resize(Index(6 + extra), 0xEE);
    for (const Bytes& component : components) {
      out.insert(out.end(), component.begin(), component.end());
    }
    if (spec_.alphaType != 0) {
      const Bytes alpha = Alpha(field, row, span);
      out.insert(out.end(), alpha.begin(), alpha.end());
    }
    return out;
  }

  // Returns the sample at a place that may lie outside the picture.
  double At(const Field& field, int component, int x, int line) const {
    const bool halved = (component == 1 || component == 2) && !spec_.chroma444;
    const int width = halved ? (spec_.width + 1) / 2 : spec_.width;
    // An excess row of a field repeats its last line; a field without lines has none to repeat.
    const int y = field.firstLine + field.step * std::min(line, std::max(field.lines, 1) - 1);
    return source_(component, std::min(x, width - 1), std::min(y, spec_.height - 1));
  }

  Bytes Component(const Field& field, int row, const Span& span, int component, int index) {
    const int blocks = BlocksOf(component, spec_.chroma444, span.count);
    const int columns = component == 0 || spec_.chroma444 ? 16 : 8;
    const Matrix& matrix = component == 0 ? luma_ : chroma_;
    std::vector<int> coefficients(Index(64 * blocks));
    for (int b = 0; b < blocks; ++b) {
      const Point place = BlockPlace(component != 0, spec_.chroma444, b);
      std::array<double, 64> samples{};
      for (int i = 0; i < 64; ++i) {
        samples[Index(i)] = At(field, component, span.first * columns + place.x + i % 8,
                               row * 16 + place.y + i / 8) -
                            512;
      }
      const auto transformed = ForwardDct(samples);
      for (int s = 0; s < 64; ++s) {
        const int i = scan_[Index(s)];
        const double step = matrix[Index(i)] * ScaleOf(index);
        coefficients[Index(s * blocks + b)] =
            static_cast<int>(std::lround(4 * transformed[Index(i)] / step));
      }
    }
    Bytes bytes = CodeComponent(coefficients, blocks);
    bytes.resize(bytes.size() + Index(spec_.trailingZeroBytes));
    return bytes;
  }

  Bytes Alpha(const Field& field, int row, const Span& span) {
    const int bits = spec_.alphaType == 1 ? 8 : 16;
    std::vector<int> samples;
    for (int y = 0; y < 16; ++y) {
      for (int x = 0; x < 16 * span.count; ++x) {
        samples.push_back(static_cast<int>(At(field, 3, span.first * 16 + x, row * 16 + y)) &
                          ((1 << bits) - 1));
      }
    }
    return CodeAlpha(samples, bits, AlphaForms::kLong);
  }

  const StreamSpec& spec_;
  const Source& source_;
  Matrix luma_{};
  Matrix chroma_{};
  std::array<int, 64> scan_{};
  Stream stream_;
};

// --- Reading

class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> frame) : frame_(frame) {}

  Image Decode() {
    Require(frame_.size() >= 28 && frame_[4] == 'i' && frame_[5] == 'c' && frame_[6] == 'p' &&
                frame_[7] == 'f',
            "no frame");
    const int headerBytes = Number(8, 2);
    Require(headerBytes >= 20 && Number(10, 2) <= 1, "frame header");
    image_.width = Number(16, 2);
    image_.height = Number(18, 2);
    Require(image_.width > 0 && image_.height > 0, "frame size");
    const int chroma = frame_[20] >> 6;
    Require(chroma >= 2, "chroma format");
    chroma444_ = chroma == 3;
    interlaceMode_ = frame_[20] >> 2 & 3;
    alphaType_ = frame_[25] & 15;
    Require(interlaceMode_ < 3 && alphaType_ < 3, "modes");
    luma_.fill(4);
    std::size_t at = 28;
    if ((frame_[27] & 2) != 0) at = ReadMatrix(at, luma_);
    chroma_ = luma_;
    if ((frame_[27] & 1) != 0) at = ReadMatrix(at, chroma_);
    Require(at <= Index(8 + headerBytes), "matrices");
    scan_ = ScanOf(interlaceMode_ != 0);

    image_.chromaWidth = chroma444_ ? image_.width : (image_.width + 1) / 2;
    for (int c = 0; c < 3; ++c) {
      const int width = c == 0 ? image_.width : image_.chromaWidth;
      image_.values[Index(c)].resize(Index(width) * Index(image_.height));
    }
    if (alphaType_ != 0) image_.alpha.resize(Index(image_.width) * Index(image_.height));

    std::size_t picture = Index(8 + headerBytes);
    for (int i = 0; i < (interlaceMode_ == 0 ? 1 : 2); ++i) picture = ReadPicture(picture, i);
    return image_;
  }

 private:
  int Number(std::size_t at, int bytes) const {
    Require(at + Index(bytes) <= frame_.size(), "frame too short");
    unsigned value = 0;
    for (int i = 0; i < bytes; ++i) value = value << 8 | frame_[at + Index(i)];
    return static_cast<int>(value);
  }

  std::size_t ReadMatrix(std::size_t at, Matrix& matrix) const {
    for (int& weight : matrix) weight = Number(at++, 1);
    return at;
  }

  std::size_t ReadPicture(std::size_t start, int picture) {
    const int headerBytes = Number(start, 1) >> 3;
    const int pictureBytes = Number(start + 1, 4);
    const int sliceCount = Number(start + 5, 2);
    const int log2Size = Number(start + 7, 1) >> 4;
    Require(headerBytes >= 8 && log2Size <= 3 && (Number(start + 7, 1) & 15) == 0,
            "picture header");
    const std::size_t end = start + Index(pictureBytes);
    Require(end <= frame_.size(), "picture too long");

    const Field field = FieldOf(image_.height, interlaceMode_, picture);
    const auto spans = SlicesOfRow((image_.width + 15) / 16, log2Size);
    int rows = field.rows;
    if (interlaceMode_ != 0) {
      const int other = FieldOf(image_.height, interlaceMode_, 1 - picture).rows;
      if (other > rows && other * static_cast<int>(spans.size()) == sliceCount) rows = other;
    }
    std::size_t entry = start + Index(headerBytes);
    std::size_t slice = entry + 2 * spans.size() * Index(rows);
    for (int row = 0; row < rows; ++row) {
      for (const Span& span : spans) {
        const std::size_t bytes = Index(Number(entry, 2));
        Require(slice + bytes <= end, "slice table");
        ReadSlice(frame_.subspan(slice, bytes), field, row, span);
        entry += 2;
        slice += bytes;
      }
    }
    return end;
  }

  void ReadSlice(std::span<const std::uint8_t> slice, const Field& field, int row,
                 const Span& span) {
    Require(slice.size() >= 6, "slice header");
    const std::size_t headerBytes = slice[0] >> 3;
    std::array<std::size_t, 3> sizes{Index(slice[2] << 8 | slice[3]),
                                     Index(slice[4] << 8 | slice[5]), 0};
    Require(headerBytes >= 6 && headerBytes + sizes[0] + sizes[1] <= slice.size(), "slice sizes");
    sizes[2] = headerBytes >= 8 ? Index(slice[6] << 8 | slice[7])
                                : slice.size() - headerBytes - sizes[0] - sizes[1];
    std::size_t at = headerBytes;
    for (int c = 0; c < 3; ++c) {
      Require(at + sizes[Index(c)] <= slice.size(), "component size");
      ReadColor(slice.subspan(at, sizes[Index(c)]), field, row, span, c, ScaleOf(slice[1]));
      at += sizes[Index(c)];
    }
    if (alphaType_ != 0) ReadAlpha(slice.subspan(at), field, row, span);
  }

  void ReadColor(std::span<const std::uint8_t> bytes, const Field& field, int row, const Span& span,
                 int component, int scale) {
    const int blocks = BlocksOf(component, chroma444_, span.count);
    const std::vector<int> coefficients = DecodeComponent(bytes, blocks);
    const Matrix& matrix = component == 0 ? luma_ : chroma_;
    const int columns = component == 0 || chroma444_ ? 16 : 8;
    const int width = component == 0 ? image_.width : image_.chromaWidth;
    for (int b = 0; b < blocks; ++b) {
      std::array<double, 64> block{};
      for (int s = 0; s < 64; ++s) {
        const std::size_t i = Index(scan_[Index(s)]);
        block[i] = coefficients[Index(s * blocks + b)] * matrix[i] * scale / 8.0;
      }
      const auto samples = InverseDct(block);
      const Point place = BlockPlace(component != 0, chroma444_, b);
      for (int i = 0; i < 64; ++i) {
        const int x = span.first * columns + place.x + i % 8;
        const int y = row * 16 + place.y + i / 8;
        if (x >= width || y >= field.lines) continue;
        const int line = field.firstLine + field.step * y;
        image_.values[Index(component)][Index(line) * Index(width) + Index(x)] = samples[Index(i)];
      }
    }
  }

  void ReadAlpha(std::span<const std::uint8_t> bytes, const Field& field, int row,
                 const Span& span) {
    const int bits = alphaType_ == 1 ? 8 : 16;
    const int count = 256 * span.count;
    const std::vector<int> samples = DecodeAlpha(bytes, bits, count);
    for (int i = 0; i < count; ++i) {
      const int x = span.first * 16 + i % (16 * span.count);
      const int y = row * 16 + i / (16 * span.count);
      if (x >= image_.width || y >= field.lines) continue;
      const int line = field.firstLine + field.step * y;
      image_.alpha[Index(line) * Index(image_.width) + Index(x)] = samples[Index(i)];
    }
  }

  std::span<const std::uint8_t> frame_;
  bool chroma444_ = false;
  int interlaceMode_ = 0;
  int alphaType_ = 0;
  Matrix luma_{};
  Matrix chroma_{};
  std::array<int, 64> scan_{};
  Image image_;
};

int RoundAndClamp(double value, int bits) {
  const double low = std::pow(2.0, bits - 8);
  const double high = std::pow(2.0, bits) - low - 1;
  return static_cast<int>(std::clamp(std::floor(value), low, high));
}

}  // namespace

Source NaturalSource(unsigned seed) {
  return [seed](int component, int x, int y) {
    const double phase = 0.7 * component + 0.01 * seed;
    const double smooth = 200 * std::sin(x * 0.071 + y * 0.013 + phase) +
                          120 * std::sin(y * 0.093 - x * 0.031 + 2 * phase) +
                          60 * std::sin(x * 0.57 + y * 0.43);
    // A hash of the place: noise that does not depend on the order of calls.
    std::uint32_t h = static_cast<std::uint32_t>(x) * 0x9E3779B1u ^
                      static_cast<std::uint32_t>(y) * 0x85EBCA77u ^
                      (static_cast<std::uint32_t>(component) + 4 * seed) * 0xC2B2AE3Du;
    h = (h ^ h >> 15) * 0x2C1B3C6Du;
    h = (h ^ h >> 12) * 0x297A2D39u;
    const double noise = static_cast<double>((h ^ h >> 15) % 41) - 20;
    if (component == 3) return x % 24 < 16 ? 255.0 : std::abs(noise);
    return std::floor(std::clamp(512 + smooth + noise, 4.0, 1019.0));
  };
}

Stream MakeStream(const StreamSpec& spec, const Source& source) {
  return Writer(spec, source).Write();
}

std::vector<std::uint8_t> CodeComponent(const std::vector<int>& coefficients, int blocks) {
  BitSink sink;
  sink.PutCode(-1, 0, 5, Fold(coefficients[0]));
  long long difference = 3;
  for (int b = 1; b < blocks; ++b) {
    const CodeParameters code = DcCode(difference);
    const long long next = coefficients[Index(b)] - coefficients[Index(b - 1)];
    sink.PutCode(code.lastRice, code.rice, code.golomb, Fold(difference < 0 ? -next : next));
    difference = next;
  }
  long long run = 4;
  long long symbol = 1;
  long long zeros = 0;
  for (std::size_t p = Index(blocks); p < coefficients.size(); ++p) {
    const int level = coefficients[p];
    if (level == 0) {
      ++zeros;
      continue;
    }
    const CodeParameters runCode = RunCode(run);
    sink.PutCode(runCode.lastRice, runCode.rice, runCode.golomb, zeros);
    run = zeros;
    zeros = 0;
    const CodeParameters levelCode = LevelCode(symbol);
    symbol = std::abs(level) - 1;
    sink.PutCode(levelCode.lastRice, levelCode.rice, levelCode.golomb, symbol);
    sink.Put(level < 0 ? 1 : 0, 1);
  }
  return sink.Finish();
}

std::vector<int> DecodeComponent(std::span<const std::uint8_t> bytes, int blocks) {
  BitSource source(bytes);
  std::vector<int> coefficients(Index(64 * blocks));
  long long dc = Unfold(source.GetCode(-1, 0, 5));
  Require(std::llabs(dc) <= 32768, "DC");
  coefficients[0] = static_cast<int>(dc);
  long long difference = 3;
  for (int b = 1; b < blocks; ++b) {
    const CodeParameters code = DcCode(difference);
    const long long coded = Unfold(source.GetCode(code.lastRice, code.rice, code.golomb));
    difference = difference < 0 ? -coded : coded;
    dc += difference;
    Require(std::llabs(dc) <= 32768, "DC");
    coefficients[Index(b)] = static_cast<int>(dc);
  }
  long long run = 4;
  long long symbol = 1;
  for (long long p = blocks; !source.OnlyZerosLeft(); ++p) {
    const CodeParameters runCode = RunCode(run);
    run = source.GetCode(runCode.lastRice, runCode.rice, runCode.golomb);
    p += run;
    Require(p < 64 * blocks, "run past the last coefficient");
    const CodeParameters levelCode = LevelCode(symbol);
    symbol = source.GetCode(levelCode.lastRice, levelCode.rice, levelCode.golomb);
    Require(symbol < 32768, "level");
    const int level = static_cast<int>(symbol) + 1;
    coefficients[static_cast<std::size_t>(p)] = source.Bit() == 1 ? -level : level;
  }
  return coefficients;
}

std::vector<std::uint8_t> CodeAlpha(const std::vector<int>& samples, int bits, AlphaForms forms) {
  const int modulus = 1 << bits;
  const int shortBits = bits == 8 ? 4 : 7;
  const int mostShort = bits == 8 ? 8 : 64;
  const bool useShort = forms == AlphaForms::kShort;
  BitSink sink;
  int previous = modulus - 1;
  for (std::size_t i = 0; i < samples.size();) {
    int difference = (samples[i] - previous + modulus) % modulus;
    if (difference >= modulus / 2) difference -= modulus;
    if (useShort && difference != 0 && std::abs(difference) <= mostShort) {
      sink.Put(0, 1);
      sink.Put(2 * (std::abs(difference) - 1) + (difference < 0 ? 1 : 0), shortBits);
    } else {
      sink.Put(1, 1);
      sink.Put(difference, bits);
    }
    previous = samples[i];
    std::size_t run = 1;
    while (i + run < samples.size() && run < 2048 && samples[i + run] == previous) ++run;
    i += run;
    const auto repeats = static_cast<long long>(run - 1);
    if (repeats == 0) {
      if (!useShort || i < samples.size()) sink.Put(1, 1);
    } else if (useShort && repeats < 16) {
      sink.Put(repeats, 5);
    } else {
      sink.Put(repeats, 16);
    }
  }
  return sink.Finish();
}

std::vector<int> DecodeAlpha(std::span<const std::uint8_t> bytes, int bits, int count) {
  BitSource source(bytes);
  std::vector<int> samples;
  int previous = (1 << bits) - 1;
  while (static_cast<int>(samples.size()) < count) {
    int difference = 0;
    if (source.Bit() == 1) {
      difference = static_cast<int>(source.Get(bits));
    } else {
      const int t = static_cast<int>(source.Get(bits == 8 ? 4 : 7));
      difference = t % 2 == 1 ? -(t / 2 + 1) : t / 2 + 1;
    }
    previous = (previous + difference) & ((1 << bits) - 1);
    samples.push_back(previous);
    if (static_cast<int>(samples.size()) == count || source.Bit() == 1) continue;
    int run = static_cast<int>(source.Get(4));
    if (run == 0) run = static_cast<int>(source.Get(11));
    for (; run > 0 && static_cast<int>(samples.size()) < count; --run) {
      samples.push_back(previous);
    }
  }
  return samples;
}

std::array<double, 64> ForwardDct(const std::array<double, 64>& samples) {
  const auto& basis = Basis();
  std::array<double, 64> rows{};
  std::array<double, 64> result{};
  for (std::size_t y = 0; y < 8; ++y) {
    for (std::size_t u = 0; u < 8; ++u) {
      for (std::size_t x = 0; x < 8; ++x) rows[8 * y + u] += basis[u][x] * samples[8 * y + x];
    }
  }
  for (std::size_t v = 0; v < 8; ++v) {
    for (std::size_t u = 0; u < 8; ++u) {
      for (std::size_t y = 0; y < 8; ++y) result[8 * v + u] += basis[v][y] * rows[8 * y + u];
    }
  }
  return result;
}

std::array<double, 64> InverseDct(const std::array<double, 64>& coefficients) {
  const auto& basis = Basis();
  std::array<double, 64> rows{};
  std::array<double, 64> result{};
  for (std::size_t v = 0; v < 8; ++v) {
    for (std::size_t x = 0; x < 8; ++x) {
      for (std::size_t u = 0; u < 8; ++u) rows[8 * v + x] += basis[u][x] * coefficients[8 * v + u];
    }
  }
  for (std::size_t y = 0; y < 8; ++y) {
    for (std::size_t x = 0; x < 8; ++x) {
      for (std::size_t v = 0; v < 8; ++v) result[8 * y + x] += basis[v][y] * rows[8 * v + x];
    }
  }
  return result;
}

int Image::Sample(int component, int x, int y, int bits) const {
  const int columns = component == 0 ? width : chromaWidth;
  const double f = values[Index(component)][Index(y) * Index(columns) + Index(x)];
  // Double arithmetic misses sums of rationals on a rounding boundary by a little; the small bias
  // corrects that.
  return RoundAndClamp(f * std::pow(2.0, bits - 9) + std::pow(2.0, bits - 1) + 0.5 + 1e-9, bits);
}

int Image::Sample422(int component, int x, int y, int bits) const {
  if (component == 0 || chromaWidth != width) return Sample(component, x, y, bits);
  const std::array<int, 7> taps{-1, 0, 9, 16, 9, 0, -1};
  double sum = 0;
  for (int i = 0; i < 7; ++i) {
    const int column = std::clamp(2 * x + i - 3, 0, width - 1);
    sum += taps[Index(i)] * Sample(component, column, y, 10) / 32.0;
  }
  return RoundAndClamp(sum * std::pow(2.0, bits - 10) + 0.5, bits);
}

Image Decode(std::span<const std::uint8_t> frame) {
  return Reader(frame).Decode();
}

}  // namespace reference
