#pragma once
// Runs the one background operation of a document model. The engine work happens on a
// worker thread; every write to the model hops to the main thread, and the worker waits
// there until the write has been applied (so the engine never runs ahead of the UI).
//
// Lifetimes: the owner (the model) and everything the work captures stay alive until the
// worker has ended and are released on the main thread. The main thread never waits for a
// worker, except briefly while the application quits, when running tasks are cancelled and
// hops stop being delivered.

#include "model/background_task.h"

#include <QObject>

#include <cstddef>
#include <functional>
#include <memory>
#include <stop_token>

namespace norvane {

class TaskHop {
public:
    TaskHop(QObject* owner, std::shared_ptr<BackgroundTask> task) : owner_(owner), task_(std::move(task)) {}

    // Runs `apply` on the main thread and returns once it has run. Returns false, without
    // running it, when the application is quitting.
    bool operator()(const std::function<void()>& apply) const;

    std::stop_token stopToken() const { return task_->stopToken(); }

private:
    QObject* owner_;
    std::shared_ptr<BackgroundTask> task_;
};

// Starts `work` on a fresh worker thread; call on the main thread with a QApplication in
// place. `owner` must live on the main thread.
void runBackgroundTask(std::shared_ptr<QObject> owner, std::shared_ptr<BackgroundTask> task,
                       std::function<void(const TaskHop&)> work);

// Workers started and not yet released. Tests spin the event loop until it is zero.
std::size_t backgroundTaskCount();

}  // namespace norvane
