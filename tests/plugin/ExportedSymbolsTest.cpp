// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Symbol {
  char type;
  std::string name;
};

/// Returns the library's dynamic symbols in the order of nm.
std::vector<Symbol> ListSymbols(const std::string& options) {
  const std::string command = VIX_NM " -DC " + options + " '" VIX_PLUGIN "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string text;
  char part[4096];
  while (const std::size_t bytes = std::fread(part, 1, sizeof(part), pipe.get()))
    text.append(part, bytes);

  std::vector<Symbol> symbols;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    // Sixteen digits or blanks, a space, the type, a space, the name.
    symbols.push_back({line.at(17), line.substr(19)});
  }
  return symbols;
}

TEST(ExportedSymbols, AreTheEntryItsFunctionsAndTheElements) {
  const std::string config = "(std::shared_ptr<vix::IParametersCollectionInstance const>)";
  const std::string decoder = "vix::VideoDecoderProRes";
  const std::string encoder = "vix::VideoEncoderProRes";
  std::set<std::string> expected{"RegisterAll",
                                 "vix::RegisterVideoDecoderProres(char const*)",
                                 "vix::RegisterVideoEncoderProres(char const*)",
                                 "vix::CreateVideoDecoderProRes" + config,
                                 "vix::CreateVideoEncoderProRes" + config,
                                 encoder + "::InitProResEncoder()",
                                 decoder + "::Release()",
                                 decoder + "::SetInitConfig" + config,
                                 decoder +
                                     "::XTToStdProRes(std::shared_ptr<vix::IBuffer const>, "
                                     "bool)",
                                 decoder +
                                     "::Decode(std::shared_ptr<vix::IBuffer const>, unsigned "
                                     "int)",
                                 decoder +
                                     "::DecodeStdProRes(std::shared_ptr<vix::IBuffer const>, "
                                     "unsigned int)",
                                 decoder +
                                     "::GetCompressedFrameDetails(vix::VideoDecoderProRes::"
                                     "COMP_DETAILS_STRUCT&, unsigned char const*, unsigned "
                                     "long)",
                                 decoder +
                                     "::OpenDecoder(vix::VideoDecoderProRes::RawPicture "
                                     "const&)"};
  for (const std::string& element : {decoder, encoder}) {
    const std::string name = element.substr(element.rfind(':') + 1);
    expected.insert({"vtable for " + element, "typeinfo for " + element,
                     "typeinfo name for " + element, element + "::" + name + config,
                     element + "::~" + name + "()",
                     "non-virtual thunk to " + element + "::~" + name + "()",
                     element + "::PushSample(std::shared_ptr<vix::ISampleContainer const>)",
                     element + "::DefineInput(std::shared_ptr<vix::IInfoContainer const>, "
                               "std::__cxx11::basic_string<char, std::char_traits<char>, "
                               "std::allocator<char> >)"});
  }
  std::set<std::string> exported;
  for (const Symbol& symbol : ListSymbols("--defined-only")) {
    exported.insert(symbol.name);
    EXPECT_NE(symbol.type, 'u') << symbol.name << " prevents unloading the library";
  }
  EXPECT_EQ(exported, expected);
}

// A name with a version would end in "@VIXCORE_1.0" or "@PRORES_1.0".
TEST(UndefinedSymbols, IncludeThoseOfHostAndCodecLibraryWithoutVersions) {
  std::set<std::string> undefined;
  for (const Symbol& symbol : ListSymbols("--undefined-only")) undefined.insert(symbol.name);
  for (const char* const name :
       {"WPROpenEncoder", "WPRGetCompressedFrameSize", "WPREncodeFrame", "WPRCloseEncoder",
        "WPROpenDecoder", "WPRDecodeFrame", "WPRCloseDecoder",
        "vix::CreateParametersCollectionPrototype()", "vix::GetCurrentLoggerWriter()",
        "vix::GetThreadId[abi:cxx11]()", "vix::ToString[abi:cxx11](int)",
        "vix::CreateBuffer(std::shared_ptr<vix::IMemoryBlockAllocator>, "
        "std::shared_ptr<vix::IMemoryBlock>)"})
    EXPECT_TRUE(undefined.contains(name)) << name;
}

}  // namespace
