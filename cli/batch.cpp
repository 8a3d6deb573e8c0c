#include "cli/export_file.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <sstream>
#include <streambuf>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace norvane::cli {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// "Report.final.pdf" → "Report.final-redacted.pdf": only the last extension goes.
fs::path redactedName(const fs::path& input) {
    return input.stem().string() + "-redacted.pdf";
}

// The batch's stderr: one line per event, prefixed with the file's name, or on a terminal one
// line per file, redrawn in place.
class BatchConsole {
public:
    BatchConsole(const Console& console, const std::vector<fs::path>& inputs) : console_(console) {
        for (const auto& input : inputs) {
            names_.push_back(input.filename().string());
            lines_.push_back(names_.back() + ": waiting");
        }
        if (console_.errIsTerminal) {
            for (const auto& line : lines_) {
                console_.err << line << '\n';
            }
            console_.err << std::flush;
        }
    }

    void say(std::size_t file, const std::string& text) {
        const std::lock_guard lock(mutex_);
        lines_[file] = names_[file] + ": " + text;
        if (!console_.errIsTerminal) {
            console_.err << lines_[file] << '\n' << std::flush;
            return;
        }
        const std::size_t up = lines_.size() - file;
        console_.err << "\033[" << up << "A\r" << lines_[file] << "\033[K\033[" << up << "B\r" << std::flush;
    }

    // Serialises the export's own state changes (its history entry among them).
    bool hop(const std::function<void()>& apply) {
        const std::lock_guard lock(stateMutex_);
        apply();
        return true;
    }

private:
    const Console& console_;
    std::mutex mutex_;
    std::mutex stateMutex_;  // taken before mutex_ when both are
    std::vector<std::string> names_;
    std::vector<std::string> lines_;
};

// Hands every complete line written to it to `deliver`; keeps the last one.
class LineForwarder : public std::streambuf {
public:
    explicit LineForwarder(std::function<void(const std::string&)> deliver) : deliver_(std::move(deliver)) {}
    const std::string& lastLine() const { return last_; }

protected:
    int overflow(int c) override {
        if (c == '\n') {
            if (!pending_.empty()) {
                last_ = pending_;
                deliver_(pending_);
            }
            pending_.clear();
        } else if (c != traits_type::eof() && c != '\r') {
            pending_.push_back(static_cast<char>(c));
        }
        return c == traits_type::eof() ? 0 : c;
    }

private:
    std::function<void(const std::string&)> deliver_;
    std::string pending_;
    std::string last_;
};

// Why `output` may not be written, or nothing: never over any input, never twice in one batch,
// never over an existing file unless forced.
std::optional<std::string> outputRefusal(const std::vector<fs::path>& inputs, const std::vector<fs::path>& planned,
                                         std::size_t file, const BatchOptions& options) {
    const fs::path& output = planned[file];
    for (const auto& input : inputs) {
        if (const auto refusal = exportTargetRefusal(input, output)) {
            return *refusal;
        }
    }
    if (std::find(planned.begin(), planned.begin() + static_cast<std::ptrdiff_t>(file), output) !=
        planned.begin() + static_cast<std::ptrdiff_t>(file)) {
        return "norvane-redact: " + output.string() + " is the copy of an earlier input already";
    }
    std::error_code error;
    if (!options.force && fs::exists(fs::symlink_status(output, error))) {
        return "norvane-redact: " + output.string() + " exists; --force replaces it";
    }
    return std::nullopt;
}

}  // namespace

int runBatch(const std::vector<fs::path>& inputs, const BatchOptions& options, const Console& console,
             const ExportOne& exportOne) {
    std::error_code error;
    fs::create_directories(options.outDir, error);
    if (!fs::is_directory(options.outDir, error)) {
        console.err << "norvane-redact: the folder " << options.outDir.string() << " could not be created\n";
        return kExitFailure;
    }
    std::vector<fs::path> planned;
    for (const auto& input : inputs) {
        planned.push_back((options.outDir / redactedName(input)).lexically_normal());
    }

    BatchConsole batch(console, inputs);
    std::vector<FileExport> results(inputs.size());
    std::vector<std::string> errors(inputs.size());
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t file = next++; file < inputs.size(); file = next++) {
            LineForwarder lines([&](const std::string& line) { batch.say(file, line); });
            std::ostream err(&lines);
            std::ostringstream ignored;
            const Console own{ignored, err, false};
            if (const auto refusal = outputRefusal(inputs, planned, file, options)) {
                err << *refusal << '\n';
            } else {
                results[file] = exportOne(inputs[file], planned[file], own,
                                          [&](const std::function<void()>& apply) { return batch.hop(apply); });
            }
            if (results[file].result.is_null()) {
                errors[file] = lines.lastLine();
            } else {
                batch.say(file, results[file].exitCode == kExitOk ? "done" : "Needs Review");
            }
        }
    };
    {
        std::vector<std::jthread> workers;
        for (unsigned i = 1; i < std::min<std::size_t>(std::max(options.jobs, 1u), inputs.size()); ++i) {
            workers.emplace_back(work);
        }
        work();
    }

    Json printed = Json::array();
    int worst = kExitOk;
    for (std::size_t file = 0; file < inputs.size(); ++file) {
        Json entry{{"input", fs::absolute(inputs[file], error).lexically_normal().string()}};
        if (results[file].result.is_null()) {
            entry["error"] = errors[file];
            worst = kExitFailure;
        } else {
            entry.update(results[file].result);
            if (results[file].exitCode == kExitNeedsReview && worst == kExitOk) {
                worst = kExitNeedsReview;
            }
        }
        printed.push_back(std::move(entry));
    }
    console.out << printed.dump(2) << '\n';
    return worst;
}

}  // namespace norvane::cli
