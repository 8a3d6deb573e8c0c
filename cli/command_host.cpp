#include "cli/command_host.h"

#include <QFile>

#include <algorithm>

namespace norvane::cli {

ProgressPrinter::~ProgressPrinter() {
    endBar();
}

void ProgressPrinter::endBar() {
    if (open_) {
        console_.err << '\n' << std::flush;
        open_ = false;
    }
}

void ProgressPrinter::page(const std::string& label, std::int64_t page, std::int64_t pageCount) {
    std::ostream& err = console_.err;
    if (!console_.errIsTerminal) {
        err << label << '\n' << std::flush;
        return;
    }
    constexpr int kWidth = 30;
    const auto filled =
        pageCount > 0 ? static_cast<int>(std::clamp<std::int64_t>(page * kWidth / pageCount, 0, kWidth)) : 0;
    err << "\r[" << std::string(static_cast<std::size_t>(filled), '#')
        << std::string(static_cast<std::size_t>(kWidth - filled), '-') << "] " << label << "\033[K";
    open_ = page < pageCount;
    if (!open_) {
        err << '\n';
    }
    err << std::flush;
}

void ProgressPrinter::line(const std::string& text) {
    endBar();
    console_.err << text << '\n' << std::flush;
}

CommandHost::CommandHost(const Console& console, StateHop onState, std::shared_ptr<RecentRedactionStore> history)
    : printer_(console), onState_(std::move(onState)), history_(std::move(history)) {}

void CommandHost::run(const std::shared_ptr<BackgroundTask>&, std::function<void(const StateHop&)> work) {
    work(onState_);
}

void CommandHost::recordExport(const ExportRecord& record) {
    if (history_) {
        history_->add(QFile::decodeName(record.sourceName.c_str()), QFile::decodeName(record.output.c_str()),
                      record.pageCount, record.redactionCount, record.verificationPassed);
    }
}

void CommandHost::progressed(const std::string& status, std::int64_t page, std::int64_t pageCount) {
    if (page == 0) {
        printer_.line(status);
    } else {
        printer_.page(status, page, pageCount);
    }
}

bool reportSearch(const RedactionSession& session, const Console& console, std::vector<UnreadPage>& unread) {
    switch (session.lastSearch()) {
        case SearchEnd::read:
            break;
        case SearchEnd::unreadableTerm:
            // Said, and not the end: the copy is still checked for the term, and needs review.
            console.err << session.errorMessage().value_or("") << '\n';
            return true;
        default:
            console.err << session.errorMessage().value_or(RedactionError::exportFailed().errorDescription()) << '\n';
            return false;
    }
    for (const UnreadPage& page : session.unreadPages()) {
        console.err << "norvane-redact: Page " << page.pageIndex + 1 << " could not be searched. "
                    << describe(page.failure) << '\n';
        unread.push_back(page);
    }
    return true;
}

Json toJson(const std::vector<UnreadPage>& pages) {
    Json json = Json::array();
    for (const UnreadPage& page : pages) {
        json.push_back(Json{{"pageIndex", page.pageIndex}, {"reason", std::string(rawValue(page.failure))}});
    }
    return json;
}

}  // namespace norvane::cli
