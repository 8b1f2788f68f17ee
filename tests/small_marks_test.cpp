#include <gtest/gtest.h>

#include "support/golden_image.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_renderer.hpp"

namespace zorvi {
namespace {

// Text and dashes of ordinary size keep every pixel: the references were drawn before small marks had a
// way of their own.
TEST(SmallMarks, ExampleBoardKeepsItsPixels) {
  const BoardBundle bundle = BoardArchive::read(std::string(ZORVI_SOURCE_DIR) + "/examples/example.zorvi");
  for (const int size : {256, 512}) {
    SCOPED_TRACE(size);
    const auto picture = BoardPreviewRenderer::render(bundle, size);
    ASSERT_TRUE(picture);
    EXPECT_EQ(testing::compareWithGolden(*picture, "example_board_" + std::to_string(size), 0), "");
  }
}

}  // namespace
}  // namespace zorvi
