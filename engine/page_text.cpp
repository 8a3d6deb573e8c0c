#include "engine/page_text.h"

#include "engine/search_keys.h"

#include <optional>

namespace norvane {
namespace {

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

TextLayer readTextLayer(const mu::Session& session, int pageIndex) {
    TextLayer layer;
    std::size_t lines = 0;
    forEachTextLine(session, pageIndex, [&](const std::vector<TextLayerChar>& line) {
        for (const TextLayerChar& ch : line) {
            const std::size_t begin = layer.text.size();
            appendUtf8(layer.text, ch.c);
            layer.chars.push_back({begin, layer.text.size(), lines, ch.box});
        }
        layer.text += '\n';
        ++lines;
    });
    return layer;
}

std::vector<PageRect> TextLayer::lineBoxes(std::size_t begin, std::size_t end) const {
    std::vector<PageRect> parts;
    std::optional<std::size_t> line;
    for (const Char& ch : chars) {
        if (ch.end <= begin || ch.begin >= end) {
            continue;
        }
        if (line != ch.line) {
            parts.push_back(ch.box.standardized());
            line = ch.line;
        } else {
            parts.back() = parts.back().united(ch.box);
        }
    }
    return parts;
}

}  // namespace norvane
