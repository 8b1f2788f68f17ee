#include <algorithm>

#include "export/html_elements.hpp"
#include "export/html_text.hpp"
#include "unicode/unicode.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/page_chrome.hpp"
#include "zorvi/page_layout.hpp"

namespace zorvi::HTMLExporter {
namespace {

double worldUnits(double points) { return points / PageScale::pointsPerWorldUnit; }

// The fixed sizes of the paged document, in world units.
struct PagedMetrics {
  double width = 0, height = 0;
  double margin = 0, footer = 0;
  double contentWidth = 0, contentHeight = 0;
  double footerTop = 0;
};

PagedMetrics pagedMetrics(const std::vector<PageExportPlan::Page>& pages, const PageExportChrome& chrome) {
  PagedMetrics m;
  if (!pages.empty()) {
    m.width = pages.front().worldRect.width;
    m.height = pages.front().worldRect.height;
  }
  m.margin = chrome.margin ? worldUnits(PageChromeLayout::marginPt) : 0;
  m.footer = chrome.branding ? worldUnits(PageChromeLayout::footerHeightPt) : 0;
  m.contentWidth = std::max(0.0, m.width - 2 * m.margin);
  m.contentHeight = std::max(0.0, m.height - 2 * m.margin - m.footer);
  m.footerTop = m.height - m.margin - m.footer;
  return m;
}

void appendPageOpening(std::string& out, const PagedMetrics& m, std::string_view pageBackground) {
  out += R"(    <div class="page" style="width:)";
  html::appendNumber(out, m.width);
  out += "px;height:";
  html::appendNumber(out, m.height);
  out += "px;background:";
  out += pageBackground;
  out += ";\">\n";
}

void appendLogo(std::string& out, const EmbeddedImage& logo) {
  out += R"(<img class="logo" src="data:)";
  out += logo.mime;
  out += ";base64,";
  html::appendBase64(out, logo.data);
  out += "\" alt=\"\">";
}

void appendFooter(std::string& out, const PagedMetrics& m, const PageExportChrome& chrome,
                  std::string_view ink, std::int64_t page, std::int64_t total) {
  out += R"(      <div class="footer" style=")";
  html::appendBoxPosition(out, {m.margin, m.footerTop, m.contentWidth, m.footer});
  out += "px;height:";
  html::appendNumber(out, m.footer);
  out += "px;font-size:";
  html::appendNumber(out, worldUnits(PageChromeLayout::footerFontPt));
  out += "px;color:";
  out += ink;
  out += R"(;"><div class="foot-left">)";
  if (chrome.logo) appendLogo(out, *chrome.logo);
  html::appendEscaped(out, unicode::trimWhitespaceAndNewlines(chrome.senderText));
  out += R"(</div><div class="foot-right">)";
  html::appendInteger(out, page);
  out += " / ";
  html::appendInteger(out, total);
  out += "</div></div>\n";
}

std::string_view trimmed(const std::optional<std::string>& text) {
  return text ? unicode::trimWhitespaceAndNewlines(*text) : std::string_view();
}

void appendCoverRule(std::string& out, double gap) {
  out += R"(<div class="cv-rule" style="margin-top:)";
  html::appendNumber(out, gap);
  out += "px;\"></div>";
}

void appendCover(std::string& out, const PagedMetrics& m, const BoardHeader& header,
                 const PageExportChrome& chrome, std::string_view ink) {
  const double gap = worldUnits(PageChromeLayout::coverLineGapPt);
  out += R"(      <div class="cover" style=")";
  html::appendBoxPosition(out, {m.margin, m.margin, m.contentWidth, m.contentHeight});
  out += "px;height:";
  html::appendNumber(out, m.contentHeight);
  out += "px;color:";
  out += ink;
  out += ";\">";
  const std::string_view title = trimmed(header.title);
  if (!title.empty()) {
    out += R"(<div class="cv-title" style="font-size:)";
    html::appendNumber(out, worldUnits(PageChromeLayout::coverTitlePt));
    out += "px;\">";
    html::appendEscaped(out, title);
    out += "</div>";
    appendCoverRule(out, gap);
  }
  const auto rows = chrome.metaLabels.rows(header);
  if (!rows.empty()) {
    out += R"(<table class="cv-meta" style="font-size:)";
    html::appendNumber(out, worldUnits(PageChromeLayout::coverMetaPt));
    out += "px;margin-top:";
    html::appendNumber(out, gap);
    out += "px;\">";
    for (const auto& [label, value] : rows) {
      out += R"(<tr><td class="cv-k">)";
      html::appendEscaped(out, label);
      out += R"(</td><td class="cv-v">)";
      html::appendEscaped(out, value);
      out += "</td></tr>";
    }
    out += "</table>";
    appendCoverRule(out, gap);
  }
  const std::string_view notes = trimmed(header.notes);
  if (!notes.empty()) {
    out += R"(<div class="cv-notes" style="font-size:)";
    html::appendNumber(out, worldUnits(PageChromeLayout::coverNotesPt));
    out += "px;margin-top:";
    html::appendNumber(out, gap);
    out += "px;\">";
    html::appendEscaped(out, notes);
    out += "</div>";
  }
  out += "</div>\n";
}

void appendSheet(html::Writer& writer, const PagedMetrics& m, const Frame& tile, const BoardLayout& layout,
                 const PictureLookup& pictures, std::string_view background, std::string_view ink) {
  std::string& out = writer.out;
  const double w = tile.width, h = tile.height;
  const double s = w > 0 && h > 0 ? std::min(m.contentWidth / w, m.contentHeight / h) : 1.0;
  out += R"(      <div class="sheet" style=")";
  html::appendBoxPosition(
      out, {m.margin + (m.contentWidth - w * s) * 0.5, m.margin + (m.contentHeight - h * s) * 0.5, w, h});
  out += "px;height:";
  html::appendNumber(out, h);
  out += "px;transform:scale(";
  html::appendNumber(out, s);
  out += ");transform-origin:top left;\">\n";
  html::appendItems(writer, layout, pictures, background, ink);
  out += "      </div>\n";
}

// Pages are laid out one at a time as they are written, so a streamed document holds one page's layout.
void pagedDocument(html::Writer& writer, const Manifest& manifest, const PictureLookup& pictures,
                   const std::vector<PageExportPlan::Page>& pages, const CaptionHeights& captionHeights,
                   const PageExportChrome& chrome) {
  const Board& board = manifest.board;
  const std::string& background = board.canvas.backgroundColor;
  const std::string_view pageBackground = html::validColorView(background).value_or("#FFFFFF");
  const std::string ink = contrastColor(background);
  const PagedMetrics m = pagedMetrics(pages, chrome);
  const bool active = chrome.isActive();
  const bool cover = chrome.includeCover && board.header && board.header->hasContent();
  const auto total = static_cast<std::int64_t>(pages.size()) + (cover ? 1 : 0);

  std::string& out = writer.out;
  if (writer.sink == nullptr) {
    std::size_t estimate = 8192 + board.name.size() * 2;
    for (const auto& page : pages) {
      estimate += 2048 + html::estimatedItemsSize(BoardLayout(manifest.items, captionHeights, page.worldRect),
                                                  pictures);
      if (chrome.logo) estimate += html::base64Length(chrome.logo->data.size());
    }
    html::reserveDocument(out, estimate);
  }
  out += html::documentOpening;
  html::appendEscaped(out, board.name);
  out +=
      "</title>\n"
      "  <style>\n"
      "    * { margin: 0; padding: 0; box-sizing: border-box; }\n"
      "    body { background: #e0e0e0; padding: 16px 0; }\n"
      "    .page { position: relative; margin: 0 auto 16px; overflow: hidden; "
      "box-shadow: 0 1px 6px rgba(0,0,0,0.25); }\n"
      "    .sheet { position: absolute; }\n";
  out += html::itemStyleSheet;
  out +=
      "    .footer { position: absolute; display: flex; align-items: center; justify-content: space-between; "
      "font-family: -apple-system, system-ui, sans-serif; }\n"
      "    .footer .foot-left { display: flex; align-items: center; gap: 8px; }\n"
      "    .footer .logo { height: ";
  html::appendNumber(out, worldUnits(PageChromeLayout::logoMaxHeightPt));
  out +=
      "px; width: auto; }\n"
      "    .cover { position: absolute; font-family: -apple-system, system-ui, sans-serif; }\n"
      "    .cover .cv-title { font-weight: 700; line-height: 1.1; }\n"
      "    .cover .cv-meta { border-collapse: collapse; }\n"
      "    .cover .cv-meta .cv-k { opacity: 0.6; padding-right: 14px; vertical-align: top; white-space: "
      "nowrap; }\n"
      "    .cover .cv-meta .cv-v { vertical-align: top; }\n"
      "    .cover .cv-rule { border-top: 1px solid currentColor; opacity: 0.6; }\n"
      "    .cover .cv-notes { white-space: pre-wrap; line-height: 1.3; }\n"
      "    @page { size: ";
  html::appendNumber(out, m.width * PageScale::pointsPerWorldUnit);
  out += "pt ";
  html::appendNumber(out, m.height * PageScale::pointsPerWorldUnit);
  out +=
      "pt; margin: 0; }\n"
      "    @media print {\n"
      "      body { background: #fff; padding: 0; }\n"
      "      .page { margin: 0; box-shadow: none; transform: scale(";
  // CSS pixels per world unit: a world unit is 1/110 inch, a CSS pixel 1/96.
  html::appendNumber(out, 96.0 / PageScale::referenceDPI);
  out +=
      "); transform-origin: top left; break-after: page; page-break-after: always; }\n"
      "      .page:last-child { break-after: auto; page-break-after: auto; }\n"
      "    }\n"
      "  </style>\n"
      "</head>\n"
      "<body>\n";

  std::int64_t number = 1;
  if (cover) {
    appendPageOpening(out, m, pageBackground);
    appendCover(out, m, *board.header, chrome, ink);
    if (chrome.branding) appendFooter(out, m, chrome, ink, number, total);
    out += "    </div>\n";
    ++number;
  }
  for (std::size_t k = 0; k < pages.size(); ++k, ++number) {
    const BoardLayout layout(manifest.items, captionHeights, pages[k].worldRect);
    appendPageOpening(out, m, pageBackground);
    if (active) {
      appendSheet(writer, m, pages[k].worldRect, layout, pictures, background, ink);
      if (chrome.branding) appendFooter(out, m, chrome, ink, number, total);
    } else {
      html::appendItems(writer, layout, pictures, background, ink);
    }
    out += "    </div>\n";
    writer.flushIfLarge();
  }
  out += "  </body>\n</html>\n";
  writer.flush();
}

}  // namespace

std::string exportPaged(const BoardBundle& bundle, const ImageMap& images,
                        const std::vector<PageExportPlan::Page>& pages, const CaptionHeights& captionHeights,
                        const PageExportChrome& chrome) {
  const ImageViewMap pictures = viewsOf(images);
  html::Writer writer;
  pagedDocument(writer, bundle.manifest, picturesOf(pictures), pages, captionHeights, chrome);
  return std::move(writer.out);
}

void writePaged(const Manifest& manifest, const PictureLookup& pictures,
                const std::vector<PageExportPlan::Page>& pages, const CaptionHeights& captionHeights,
                const PageExportChrome& chrome, const TextSink& out) {
  html::Writer writer{{}, &out};
  pagedDocument(writer, manifest, pictures, pages, captionHeights, chrome);
}

}  // namespace zorvi::HTMLExporter
