#pragma once
// The command line's side of a redaction session: work runs at once on the calling thread,
// progress goes to stderr, verified exports go to the history when it is asked for.

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "model/redaction_session.h"

#include <memory>
#include <string>
#include <vector>

namespace norvane::cli {

// Reports "N of M" pages: a redrawn bar on a terminal, one line per page otherwise. A bar
// left open (the last pages skipped, or the work stopped) is ended when the printer goes, so
// what is written next starts on a line of its own.
class ProgressPrinter {
public:
    explicit ProgressPrinter(const Console& console) : console_(console) {}
    ~ProgressPrinter();
    ProgressPrinter(const ProgressPrinter&) = delete;
    ProgressPrinter& operator=(const ProgressPrinter&) = delete;

    void page(const std::string& label, std::int64_t page, std::int64_t pageCount);
    void line(const std::string& text);

private:
    void endBar();

    const Console& console_;
    bool open_ = false;
};

class CommandHost : public SessionHost {
public:
    // `onState` serialises the session's state changes with other files' (a batch); `history`
    // receives verified exports, or nothing is recorded when it is null.
    CommandHost(const Console& console, StateHop onState, std::shared_ptr<RecentRedactionStore> history);

    void changed(SessionField) override {}
    void run(const std::shared_ptr<BackgroundTask>& task, std::function<void(const StateHop&)> work) override;
    void recordExport(const ExportRecord& record) override;
    void progressed(const std::string& status, std::int64_t page, std::int64_t pageCount) override;

private:
    ProgressPrinter printer_;
    StateHop onState_;
    std::shared_ptr<RecentRedactionStore> history_;
};

// Says on stderr what the session's last search could not do. False when it failed (its message
// printed); a term no loaded recogniser can read is said and goes on, since the copy is checked
// for it anyway. Unread pages are printed and added to `unread`.
bool reportSearch(const RedactionSession& session, const Console& console, std::vector<UnreadPage>& unread);

Json toJson(const std::vector<UnreadPage>& pages);

}  // namespace norvane::cli
