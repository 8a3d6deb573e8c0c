#include "cli/commands.h"
#include "engine/pdf_document.h"

#include <nlohmann/json.hpp>

namespace norvane::cli {

int runInfo(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    if (args.size() != 1) {
        err << "usage: norvane-redact info IN.pdf\n";
        return kExitUsage;
    }
    SharedPdfDocument document;
    try {
        document = PdfDocument::openForRedaction(args[0]);
    } catch (const RedactionError& error) {
        err << error.errorDescription() << '\n';
        return kExitFailure;
    }
    nlohmann::ordered_json pages = nlohmann::ordered_json::array();
    for (std::int64_t i = 0; i < document->pageCount(); ++i) {
        const auto& page = document->page(i);
        pages.push_back({{"index", i},
                         {"mediaBox", {page.mediaBox.x, page.mediaBox.y, page.mediaBox.width, page.mediaBox.height}},
                         {"rotate", page.rotation}});
    }
    nlohmann::ordered_json info{
        {"pageCount", document->pageCount()}, {"encrypted", document->isEncrypted()}, {"pages", pages}};
    out << info.dump(2) << '\n';
    return kExitOk;
}

}  // namespace norvane::cli
