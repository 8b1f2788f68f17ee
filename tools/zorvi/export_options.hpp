// What the kinds of `zorvi export` share: caption measuring, the page options and the page plan.
#pragma once

#include <optional>
#include <vector>

#include "cli.hpp"
#include "zorvi/board_bundle.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/image_formats.hpp"
#include "zorvi/page_chrome.hpp"
#include "zorvi/page_export_plan.hpp"

namespace zorvi::cli {


// The board's page setup (or the default one) with --format and --orientation applied; throws
// UsageError for a value that is not one.
PageSetup pageSetup(const Arguments& arguments, const Board& board);

// --cover, --branding, --margin, --sender and the --label-* texts; no logo.
PageExportChrome chromeFrom(const Arguments& arguments);

// The pages a paged export of bundle prints with these options.
std::vector<PageExportPlan::Page> planPages(const Manifest& manifest, const Arguments& arguments,
                                           const CaptionHeights& heights);

// Reads --logo when given; exitSuccess, or the status of the one line printed.
int readLogo(const Arguments& arguments, std::optional<EmbeddedImage>& logo);

// `zorvi export pdf` and `zorvi export png`.
int runNativeExport(const Arguments& arguments);

}  // namespace zorvi::cli
