#include "zorvi/page_chrome.hpp"

#include <utility>

#include "unicode/unicode.hpp"

namespace zorvi {
namespace {

// NaN passes through: only a value known to be negative is raised.
double atLeastZero(double value) { return value < 0 ? 0 : value; }

double marginOf(const PageExportChrome& chrome) { return chrome.margin ? PageChromeLayout::marginPt : 0; }

}  // namespace

std::vector<CoverMetaLabels::Row> CoverMetaLabels::rows(const BoardHeader& header) const {
  const std::pair<const std::string*, const std::optional<std::string>*> candidates[] = {
      {&client, &header.client}, {&model, &header.model}, {&date, &header.date}, {&location, &header.location}};
  std::vector<Row> out;
  for (const auto& [label, field] : candidates) {
    if (!*field) continue;
    const std::string_view value = unicode::trimWhitespaceAndNewlines(**field);
    if (!value.empty()) out.push_back({*label, std::string(value)});
  }
  return out;
}

Frame PageChromeLayout::contentFrame(double pageWidthPt, double pageHeightPt, const PageExportChrome& chrome) {
  const double m = marginOf(chrome);
  const double f = chrome.branding ? footerHeightPt : 0;
  return {m, m, atLeastZero(pageWidthPt - 2 * m), atLeastZero(pageHeightPt - 2 * m - f)};
}

Frame PageChromeLayout::footerFrame(double pageWidthPt, double pageHeightPt, const PageExportChrome& chrome) {
  const double m = marginOf(chrome);
  return {m, atLeastZero(pageHeightPt - m - footerHeightPt), atLeastZero(pageWidthPt - 2 * m), footerHeightPt};
}

}  // namespace zorvi
