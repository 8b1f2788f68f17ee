// What dresses the pages of a paged export: cover, footer line and margins.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zorvi/document.hpp"
#include "zorvi/image_formats.hpp"

namespace zorvi {

// The caller's label texts for the cover's data rows; the library holds no label texts.
struct CoverMetaLabels {
  std::string client, model, date, location;

  struct Row {
    std::string label;
    std::string value;
    bool operator==(const Row&) const = default;
  };

  // (label, value) for client, model, date and location in that order, each value trimmed of
  // white space and line breaks; rows with an empty value are left out. Labels are used as given.
  std::vector<Row> rows(const BoardHeader& header) const;

  bool operator==(const CoverMetaLabels&) const = default;
};

// The caller's choice of cover, footer line (branding) and margins for a paged export.
struct PageExportChrome {
  bool includeCover = false;
  bool branding = false;
  bool margin = false;
  std::string senderText;
  std::optional<EmbeddedImage> logo;
  CoverMetaLabels metaLabels;

  // True when any of cover, branding or margin is on.
  bool isActive() const { return includeCover || branding || margin; }
  // The footer has content exactly when branding is on.
  bool hasFooterContent() const { return branding; }

  bool operator==(const PageExportChrome&) const = default;
};

// Sizes of the page chrome, in points (1/72 inch); frames are measured from the page's top-left.
namespace PageChromeLayout {
inline constexpr double marginPt = 28;
inline constexpr double footerHeightPt = 34;
inline constexpr double footerPaddingPt = 10;
inline constexpr double footerFontPt = 9;
inline constexpr double logoMaxHeightPt = 22;
inline constexpr double coverTitlePt = 30;
inline constexpr double coverMetaPt = 13;
inline constexpr double coverNotesPt = 11;
inline constexpr double coverLineGapPt = 10;

// Where the board goes on a page: inside the margin (when on) and above the footer (when
// branding is on); a width or height below 0 becomes 0.
Frame contentFrame(double pageWidthPt, double pageHeightPt, const PageExportChrome& chrome);
// The footer band at the page's bottom inside the margin, whether or not branding is on.
Frame footerFrame(double pageWidthPt, double pageHeightPt, const PageExportChrome& chrome);
}  // namespace PageChromeLayout

}  // namespace zorvi
