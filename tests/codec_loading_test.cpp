// The thumbnailer's start-up time is mostly the dynamic loader's, so the heavy codecs must stay out of a
// process until an image of theirs is decoded. This program holds one test on purpose: it watches its own
// address space, which any earlier decode in the same process would spoil.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "support/image_files.hpp"
#include "zorvi/image_decoder.hpp"

namespace zorvi {
namespace {

// The file names, as mapped, of the libraries opened only on demand.
const std::vector<std::string> heavyLibraries = {"/libavif.so", "/libheif.so", "/libjxl.so",
                                                 "/libgdk_pixbuf-2.0.so"};

std::vector<std::string> mappedHeavyLibraries() {
  std::ifstream maps("/proc/self/maps");
  std::vector<std::string> found;
  for (std::string line; std::getline(maps, line);) {
    for (const std::string& name : heavyLibraries) {
      if (line.find(name) != std::string::npos && std::find(found.begin(), found.end(), name) == found.end())
        found.push_back(name);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

bool decodes(const Bytes& bytes) { return ImageDecoder::decode(bytes, 8, 8).has_value(); }

TEST(CodecLoading, HeavyCodecsLoadOnlyWhenTheirFormatIsDecoded) {
  const auto files = testing::madeFiles({{"p.png", "convert -size 16x16 xc:'#C04020' PNG32:p.png"},
                                          {"p.jpg", "convert p.png p.jpg"}, {"p.webp", "cwebp -quiet p.png -o p.webp"},
                                          {"p.avif", "avifenc p.png p.avif"}, {"p.heic", "heif-enc p.png -o p.heic"},
                                          {"p.jxl", "cjxl p.png p.jxl"}, {"p.gif", "convert p.png p.gif"}});
  ASSERT_FALSE(files.empty()) << "the encoders could not make the test files";
  const auto decodeAll = [&](std::initializer_list<const char*> names) {
    for (const char* name : names) ASSERT_TRUE(decodes(files.at(name))) << name;
  };

  EXPECT_EQ(mappedHeavyLibraries(), std::vector<std::string>{}) << "linked at start-up";
  decodeAll({"p.jpg", "p.png", "p.webp"});
  EXPECT_EQ(mappedHeavyLibraries(), std::vector<std::string>{}) << "loaded by a common format";

  decodeAll({"p.avif"});
  EXPECT_EQ(mappedHeavyLibraries(), std::vector<std::string>{"/libavif.so"});
  decodeAll({"p.heic", "p.jxl", "p.gif"});
  EXPECT_EQ(mappedHeavyLibraries(),
            (std::vector<std::string>{"/libavif.so", "/libgdk_pixbuf-2.0.so", "/libheif.so", "/libjxl.so"}));
}

}  // namespace
}  // namespace zorvi
