#include "engine/page_text.h"

#include "engine/search_keys.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <optional>

namespace norvane {
namespace {

bool isBlank(char32_t c) {
    return c == '\n' || u_isUWhiteSpace(static_cast<UChar32>(c));
}

// Only differences of these matter, so the page's origin is left out.
ShownBox shownBox(const PageRect& box, int rotation) {
    switch (rotation) {
        case 90:
            return {box.minY(), box.minX(), box.maxY(), box.maxX()};
        case 180:
            return {-box.maxX(), box.minY(), -box.minX(), box.maxY()};
        case 270:
            return {-box.maxY(), -box.maxX(), -box.minY(), -box.minX()};
        default:
            return {box.minX(), -box.maxY(), box.maxX(), -box.minY()};
    }
}

PageRect toPageSpace(const fz_quad& quad, const fz_matrix& toUser) {
    const fz_rect r = fz_rect_from_quad(fz_transform_quad(quad, toUser));
    return PageRect{r.x0, r.y0, static_cast<double>(r.x1) - r.x0, static_cast<double>(r.y1) - r.y0};
}

}  // namespace

void forEachTextLine(const mu::Session& session, int pageIndex,
                     const std::function<void(const std::vector<TextLayerChar>&)>& line) {
    fz_context* ctx = session.ctx();
    pdf_document* pdf = session.pdf();
    mu::PageTextResources extraction(ctx);
    fz_matrix toUser = fz_identity;
    mu::muCall(ctx, [&] {
        pdf_page* page = pdf_load_page(ctx, pdf, pageIndex);
        extraction.page = &page->super;
        fz_rect mediaBox;
        fz_matrix pageCtm;
        pdf_page_transform(ctx, page, &mediaBox, &pageCtm);
        toUser = fz_invert_matrix(pageCtm);
        extraction.text = fz_new_stext_page(ctx, fz_transform_rect(mediaBox, pageCtm));
        fz_stext_options options{};
        options.flags = 0;  // ligatures split into letters, white space normalised
        extraction.device = fz_new_stext_device(ctx, extraction.text, &options);
        fz_run_page(ctx, extraction.page, extraction.device, fz_identity, nullptr);
        fz_close_device(ctx, extraction.device);
    });

    std::vector<TextLayerChar> chars;
    for (fz_stext_block* block = extraction.text->first_block; block; block = block->next) {
        if (block->type != FZ_STEXT_BLOCK_TEXT) {
            continue;
        }
        for (fz_stext_line* textLine = block->u.t.first_line; textLine; textLine = textLine->next) {
            chars.clear();
            for (fz_stext_char* ch = textLine->first_char; ch; ch = ch->next) {
                if (ch->c >= 0) {
                    chars.push_back({static_cast<char32_t>(ch->c), toPageSpace(ch->quad, toUser)});
                }
            }
            line(chars);
        }
    }
}

std::optional<std::size_t> singleGlyph(const std::vector<TextLayerChar>& line) {
    std::optional<std::size_t> glyph;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (!isBlank(line[i].c) && !isInvisible(line[i].c)) {
            if (glyph) {
                return std::nullopt;
            }
            glyph = i;
        }
    }
    return glyph;
}

std::vector<std::vector<std::size_t>> stackedColumns(const std::vector<std::vector<TextLayerChar>>& lines,
                                                     int rotation) {
    std::vector<ShownBox> shown;
    std::vector<bool> single;
    for (const auto& line : lines) {
        std::optional<PageRect> box;
        for (const TextLayerChar& ch : line) {
            box = box ? box->united(ch.box) : ch.box.standardized();
        }
        shown.push_back(box ? shownBox(*box, rotation) : ShownBox{});
        single.push_back(singleGlyph(line).has_value());
    }
    return stackedColumns(shown, single);
}

TextLayer readTextLayer(const mu::Session& session, int pageIndex) {
    TextLayer layer;
    std::vector<std::vector<TextLayerChar>> lines;
    forEachTextLine(session, pageIndex, [&](const std::vector<TextLayerChar>& line) { lines.push_back(line); });
    std::vector<std::string> texts;
    for (const auto& line : lines) {
        TextLayer::Line& kept = layer.lines_.emplace_back();
        // A soft hyphen ending the line may mark a broken word; anywhere else it is nothing.
        std::size_t last = line.size();
        while (last > 0 && isBlank(line[last - 1].c)) {
            --last;
        }
        bool space = false;
        for (std::size_t i = 0; i < last; ++i) {
            const char32_t c = line[i].c;
            if (isBlank(c)) {
                space = !kept.text.empty();
            } else if (!isInvisible(c) || (c == 0x00AD && i + 1 == last)) {
                if (space) {
                    kept.text += ' ';
                    space = false;
                }
                kept.boxes.emplace_back(kept.text.size(), line[i].box.standardized());
                appendUtf8(kept.text, c);
            }
        }
        texts.push_back(kept.text);
    }
    layer.readings_.push_back(LineReading::lineByLine(texts));
    for (LineReading& reading : LineReading::joined(texts)) {
        layer.readings_.push_back(std::move(reading));
    }
    if (auto columns = stackedColumns(lines, session.document()->page(pageIndex).rotation); !columns.empty()) {
        layer.readings_.push_back(LineReading::columns(texts, columns));
    }
    return layer;
}

PageRect TextLayer::boxOf(const LinePart& part) const {
    const auto& boxes = lines_.at(part.line).boxes;
    std::optional<PageRect> box;
    auto ch = std::lower_bound(boxes.begin(), boxes.end(), part.begin,
                               [](const auto& entry, std::size_t at) { return entry.first < at; });
    for (; ch != boxes.end() && ch->first < part.end; ++ch) {
        box = box ? box->united(ch->second) : ch->second;
    }
    return box.value_or(PageRect{});
}

void TextLayer::forEachMatch(const Find& find, const Found& found) const {
    for (const LineReading& reading : readings_) {
        for (const auto& [begin, end] : find(reading.text())) {
            if (!reading.owns(begin, end)) {
                continue;
            }
            // Each line part is widened by its own height, so a column's box is its glyphs'.
            std::vector<PageRect> covers;
            std::optional<std::size_t> place;
            for (const LinePart& part : reading.parts(begin, end)) {
                const PageRect cover = safetyExpanded(boxOf(part));
                if (place != part.place) {
                    covers.push_back(cover);
                } else if (!cover.isEmpty()) {
                    covers.back() = covers.back().isEmpty() ? cover : covers.back().united(cover);
                }
                place = part.place;
            }
            found(reading.text().substr(begin, end - begin), covers);
        }
    }
}

}  // namespace norvane
