#include "model/task_runner.h"

#include <QCoreApplication>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

namespace norvane {

namespace {

// How long quitting waits for cancelled workers to reach their next cancellation check.
constexpr auto kQuitGrace = std::chrono::seconds(10);

struct Worker {
    std::shared_ptr<QObject> owner;
    std::shared_ptr<BackgroundTask> task;
    std::function<void(const TaskHop&)> work;
    std::jthread thread;
    bool finished = false;  // guarded by Registry::mutex
};

// Process-wide bookkeeping of workers. Deliberately never destroyed: a worker that outlives
// the grace period at quit must not be joined by a static destructor.
class Registry {
public:
    static Registry& instance() {
        static Registry* const registry = new Registry();
        return *registry;
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool quitting = false;
    int hopsInFlight = 0;
    std::list<std::unique_ptr<Worker>> workers;

    void start(std::unique_ptr<Worker> worker) {
        connectToApplication();
        Worker* raw = worker.get();
        {
            std::lock_guard lock(mutex);
            if (quitting) {
                raw->task->requestCancel();  // started during shutdown: nobody will see its results
            }
            workers.push_back(std::move(worker));
        }
        // The task's own stop source is the cancellation signal; the thread's token is unused.
        raw->thread = std::jthread([this, raw] { runWorker(raw); });
    }

    // Main thread: joins and releases finished workers. Their threads have passed their last
    // statement, so the join is immediate; the owners are released here, on the main thread.
    void reap() {
        std::list<std::unique_ptr<Worker>> done;
        {
            std::lock_guard lock(mutex);
            for (auto it = workers.begin(); it != workers.end();) {
                if ((*it)->finished) {
                    done.splice(done.end(), workers, it++);
                } else {
                    ++it;
                }
            }
        }
        for (auto& worker : done) {
            worker->thread.join();
        }
        done.clear();
    }

    std::size_t count() {
        std::lock_guard lock(mutex);
        return workers.size();
    }

private:
    void connectToApplication() {
        if (connected_) {
            return;
        }
        if (auto* app = QCoreApplication::instance()) {
            QObject::connect(app, &QCoreApplication::aboutToQuit, app, [this] { shutDown(); });
            connected_ = true;
        }
    }

    void runWorker(Worker* worker) {
        const TaskHop hop(worker->owner.get(), worker->task);
        try {
            worker->work(hop);
        } catch (...) {
            // The work reports its own failures; nothing may escape a thread.
        }
        {
            std::lock_guard lock(mutex);
            worker->finished = true;
        }
        changed.notify_all();
        if (auto* app = QCoreApplication::instance()) {
            QMetaObject::invokeMethod(
                app, [this] { reap(); }, Qt::QueuedConnection);
        }
    }

    // The event loop has ended: no hop will be delivered by it any more. Cancel every task,
    // let the hops already posted through (they find `quitting` set and apply nothing), then
    // give the workers a grace period to finish their current page.
    void shutDown() {
        {
            std::lock_guard lock(mutex);
            quitting = true;
            for (const auto& worker : workers) {
                worker->task->requestCancel();
            }
        }
        for (;;) {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
            std::unique_lock lock(mutex);
            if (hopsInFlight == 0) {
                break;
            }
            changed.wait_for(lock, std::chrono::milliseconds(5));
        }
        {
            std::unique_lock lock(mutex);
            changed.wait_for(lock, kQuitGrace, [this] {
                for (const auto& worker : workers) {
                    if (!worker->finished) {
                        return false;
                    }
                }
                return true;
            });
        }
        reap();
    }

    bool connected_ = false;
};

}  // namespace

bool TaskHop::operator()(const std::function<void()>& apply) const {
    auto& registry = Registry::instance();
    {
        std::lock_guard lock(registry.mutex);
        if (registry.quitting || !QCoreApplication::instance()) {
            return false;
        }
        ++registry.hopsInFlight;
    }
    bool applied = false;
    QMetaObject::invokeMethod(
        owner_,
        [&] {
        // Runs on the main thread, where `quitting` is also set, so no lock is needed to
        // order the two; the lock only satisfies the worker-side readers.
        {
            std::lock_guard lock(registry.mutex);
            if (registry.quitting) {
                return;
            }
        }
        try {
            apply();
            applied = true;
        } catch (...) {
            // Model writes do not throw; an allocation failure must not unwind Qt's loop.
        }
        },
        Qt::BlockingQueuedConnection);
    {
        std::lock_guard lock(registry.mutex);
        --registry.hopsInFlight;
    }
    registry.changed.notify_all();
    return applied;
}

void runBackgroundTask(std::shared_ptr<QObject> owner, std::shared_ptr<BackgroundTask> task,
                       std::function<void(const TaskHop&)> work) {
    Q_ASSERT(QThread::currentThread() == owner->thread());
    auto worker = std::make_unique<Worker>();
    worker->owner = std::move(owner);
    worker->task = std::move(task);
    worker->work = std::move(work);
    Registry::instance().start(std::move(worker));
}

std::size_t backgroundTaskCount() {
    return Registry::instance().count();
}

}  // namespace norvane
