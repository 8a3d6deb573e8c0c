#include "engine/inspection_parts.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_set>

namespace norvane {
namespace {

// Chains and trees in hostile files can be cyclic or absurdly deep.
constexpr int kActionDepth = 16;
constexpr std::int64_t kOutlineLimit = 100'000;

// Actions that reach outside the document: other files, programs, servers, media players.
constexpr std::array<std::string_view, 8> kLeaving{"Launch", "SubmitForm", "ImportData", "GoToR",
                                                   "GoToE",  "Rendition",  "Sound",      "Movie"};

template <std::size_t N>
bool isOneOf(fz_context* ctx, pdf_obj* name, const std::array<std::string_view, N>& names) {
    if (!pdf_is_name(ctx, name)) {
        return false;
    }
    const std::string_view value = pdf_to_name(ctx, name);
    return std::find(names.begin(), names.end(), value) != names.end();
}

ActionReach reachAt(fz_context* ctx, pdf_obj* action, int depth) {
    if (!action || depth > kActionDepth) {
        return ActionReach::none;
    }
    if (pdf_is_array(ctx, action)) {
        ActionReach reach = ActionReach::none;
        const int n = std::min(pdf_array_len(ctx, action), 256);
        for (int i = 0; i < n; ++i) {
            reach = std::max(reach, reachAt(ctx, pdf_array_get(ctx, action, i), depth + 1));
        }
        return reach;
    }
    if (!pdf_is_dict(ctx, action)) {
        return ActionReach::none;
    }
    ActionReach reach = ActionReach::none;
    pdf_obj* kind = pdf_dict_get(ctx, action, PDF_NAME(S));
    if (pdf_name_eq(ctx, kind, PDF_NAME(JavaScript)) || pdf_dict_get(ctx, action, PDF_NAME(JS))) {
        reach = ActionReach::javascript;
    } else if (isOneOf(ctx, kind, kLeaving)) {
        reach = ActionReach::outside;
    }
    return std::max(reach, reachAt(ctx, pdf_dict_get(ctx, action, PDF_NAME(Next)), depth + 1));
}

void addFinding(std::vector<InspectionFinding>& out, InspectionKind kind, std::int64_t count, std::string text,
                bool withText) {
    InspectionFinding finding;
    finding.kind = kind;
    finding.count = count;
    if (withText) {
        finding.text = std::move(text);
    }
    out.push_back(std::move(finding));
}

// Items of the outline, walked with a guard against cycles.
std::int64_t countOutline(fz_context* ctx, pdf_obj* first, std::string& titles, bool withText) {
    std::int64_t count = 0;
    std::unordered_set<int> seen;
    std::vector<pdf_obj*> pending{first};
    while (!pending.empty() && count < kOutlineLimit) {
        pdf_obj* item = pending.back();
        pending.pop_back();
        while (pdf_is_dict(ctx, item) && count < kOutlineLimit) {
            const int number = pdf_to_num(ctx, item);
            if (number > 0 && !seen.insert(number).second) {
                break;
            }
            ++count;
            if (withText) {
                titles += textOf(ctx, pdf_dict_get(ctx, item, PDF_NAME(Title)));
                titles += '\n';
            }
            if (pdf_obj* child = pdf_dict_get(ctx, item, PDF_NAME(First))) {
                pending.push_back(child);
            }
            item = pdf_dict_get(ctx, item, PDF_NAME(Next));
        }
    }
    return count;
}

}  // namespace

std::string textOf(fz_context* ctx, pdf_obj* object) {
    const char* text = mu::muValue(ctx, [&]() -> const char* {
        if (pdf_is_string(ctx, object)) {
            return pdf_to_text_string(ctx, object);
        }
        return pdf_is_name(ctx, object) ? pdf_to_name(ctx, object) : nullptr;
    });
    return text ? text : "";
}

ActionReach reachOf(fz_context* ctx, pdf_obj* action) {
    return reachAt(ctx, action, 0);
}

ActionReach reachOfAdditional(fz_context* ctx, pdf_obj* additional) {
    ActionReach reach = ActionReach::none;
    if (!pdf_is_dict(ctx, additional)) {
        return reach;
    }
    const int n = std::min(pdf_dict_len(ctx, additional), 64);
    for (int i = 0; i < n; ++i) {
        reach = std::max(reach, reachOf(ctx, pdf_dict_get_val(ctx, additional, i)));
    }
    return reach;
}

// Looking things up in a dictionary never throws (a broken reference reads as null); what
// allocates goes through muValue, so no C++ object is skipped by MuPDF's unwinding.
DocumentFacts inspectFile(const mu::Session& session, bool withText, std::vector<InspectionFinding>& out) {
    fz_context* ctx = session.ctx();
    pdf_document* doc = session.pdf();
    DocumentFacts facts;
    pdf_obj* trailer = pdf_trailer(ctx, doc);
    pdf_obj* root = pdf_dict_get(ctx, trailer, PDF_NAME(Root));

    std::int64_t keys = 0;
    std::string metadata;
    pdf_obj* info = pdf_dict_get(ctx, trailer, PDF_NAME(Info));
    for (int i = 0; pdf_is_dict(ctx, info) && i < pdf_dict_len(ctx, info); ++i) {
        const std::string value = textOf(ctx, pdf_dict_get_val(ctx, info, i));
        if (!value.empty()) {
            ++keys;
            if (withText) {
                metadata += textOf(ctx, pdf_dict_get_key(ctx, info, i)) + ": " + value + '\n';
            }
        }
    }
    if (mu::muValue(ctx, [&] { return pdf_is_stream(ctx, pdf_dict_get(ctx, root, PDF_NAME(Metadata))); })) {
        ++keys;
        metadata += withText ? "XMP\n" : "";
    }
    if (keys > 0) {
        addFinding(out, InspectionKind::metadata, keys, metadata, withText);
    }

    const int versions = mu::muValue(ctx, [&] { return pdf_count_versions(ctx, doc); });
    if (versions > 1) {
        addFinding(out, InspectionKind::earlierRevision, versions - 1, {}, false);
    }

    std::string titles;
    const std::int64_t outline = countOutline(ctx, pdf_dict_getp(ctx, root, "Outlines/First"), titles, withText);
    if (outline > 0) {
        addFinding(out, InspectionKind::bookmarks, outline, titles, withText);
    }
    if (pdf_dict_gets(ctx, root, "PageLabels")) {
        addFinding(out, InspectionKind::pageLabels, 1, {}, false);
    }

    const auto nameTree = [&](pdf_obj* which, std::string* list) {
        pdf_obj* tree = mu::muValue(ctx, [&] { return pdf_load_name_tree(ctx, doc, which); });
        const int n = pdf_dict_len(ctx, tree);
        try {
            for (int i = 0; list && i < n; ++i) {
                *list += textOf(ctx, pdf_dict_get_key(ctx, tree, i)) + '\n';
            }
        } catch (...) {
            pdf_drop_obj(ctx, tree);
            throw;
        }
        pdf_drop_obj(ctx, tree);
        return n;
    };
    std::string files;
    if (const int n = nameTree(PDF_NAME(EmbeddedFiles), withText ? &files : nullptr); n > 0) {
        addFinding(out, InspectionKind::attachment, n, files, withText);
    }
    std::int64_t scripts = nameTree(PDF_NAME(JavaScript), nullptr);
    const ActionReach opening = std::max(reachOf(ctx, pdf_dict_gets(ctx, root, "OpenAction")),
                                         reachOfAdditional(ctx, pdf_dict_get(ctx, root, PDF_NAME(AA))));
    scripts += opening == ActionReach::javascript ? 1 : 0;
    if (scripts > 0) {
        addFinding(out, InspectionKind::javascript, scripts, {}, false);
    }
    if (opening == ActionReach::outside) {
        addFinding(out, InspectionKind::action, 1, {}, false);
    }
    if (pdf_dict_getp(ctx, root, "AcroForm/XFA")) {
        addFinding(out, InspectionKind::formValue, 1, {}, false);
    }

    const int layers = mu::muValue(ctx, [&] { return pdf_count_layers(ctx, doc); });
    for (int i = 0; i < layers; ++i) {
        if (!mu::muValue(ctx, [&] { return pdf_layer_is_enabled(ctx, doc, i); })) {
            facts.hiddenLayers.push_back(i);
        }
    }
    return facts;
}

}  // namespace norvane
