#pragma once
// Handle of the one background operation a document model runs at a time.

#include <stop_token>

namespace norvane {

class BackgroundTask {
public:
    void requestCancel() { source_.request_stop(); }
    bool isCancelled() const { return source_.stop_requested(); }
    std::stop_token stopToken() const { return source_.get_token(); }

private:
    std::stop_source source_;
};

}  // namespace norvane
