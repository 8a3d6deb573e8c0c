#include "model/task_runner.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>

namespace norvane {
namespace {

void waitForWorkers() {
    QTimer tick;
    tick.start(20);  // wakes the loop even if nothing is posted
    while (backgroundTaskCount() > 0) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

struct Started {
    std::shared_ptr<BackgroundTask> task = std::make_shared<BackgroundTask>();
    std::weak_ptr<QObject> owner;
};

Started start(std::function<void(const TaskHop&)> work, QThread** destroyedOn = nullptr) {
    Started started;
    auto owner = std::make_shared<QObject>();
    if (destroyedOn) {
        QObject::connect(owner.get(), &QObject::destroyed, [destroyedOn] { *destroyedOn = QThread::currentThread(); });
    }
    started.owner = owner;
    runBackgroundTask(std::move(owner), started.task, std::move(work));
    return started;
}

TEST(TaskRunner, HopsRunOnTheMainThreadAndTheWorkerWaitsForThem) {
    QThread* const mainThread = QThread::currentThread();
    int applied = 0;  // written on the main thread only
    std::vector<int> seenByWorker;
    bool allOnMain = true;
    QThread* destroyedOn = nullptr;

    const auto started = start(
        [&](const TaskHop& onMain) {
            for (int i = 1; i <= 5; ++i) {
                EXPECT_TRUE(onMain([&] {
                    allOnMain = allOnMain && QThread::currentThread() == mainThread;
                    applied = i;
                }));
                seenByWorker.push_back(applied);  // only safe because the hop has completed
            }
        },
        &destroyedOn);
    EXPECT_FALSE(started.owner.expired()) << "the running task keeps its owner alive";
    waitForWorkers();

    EXPECT_TRUE(allOnMain);
    EXPECT_EQ(seenByWorker, (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_TRUE(started.owner.expired());
    EXPECT_EQ(destroyedOn, mainThread) << "the owner is released on the main thread";
}

// The cancellation test inside a hop is ordered with a cancel made on the main thread.
TEST(TaskRunner, CancellationSeenInsideAHopIsOrderedWithTheMainThread) {
    std::shared_ptr<BackgroundTask> task;
    std::vector<bool> cancelledAtHop;
    const auto started = start([&](const TaskHop& onMain) {
        for (int i = 0; i < 4; ++i) {
            onMain([&] {
                cancelledAtHop.push_back(task->isCancelled());
                if (i == 1) {
                    task->requestCancel();  // what the model's cancel() does, on the main thread
                }
            });
        }
    });
    task = started.task;
    waitForWorkers();
    EXPECT_EQ(cancelledAtHop, (std::vector<bool>{false, false, true, true}));
}

TEST(TaskRunner, AnEscapingExceptionEndsOnlyThatTask) {
    QThread* destroyedOn = nullptr;
    const auto started = start([](const TaskHop&) { throw std::runtime_error("boom"); }, &destroyedOn);
    waitForWorkers();
    EXPECT_TRUE(started.owner.expired());
    EXPECT_EQ(destroyedOn, QThread::currentThread());
}

// Quitting while a worker hops in a tight loop (so it is usually blocked in a hop at that
// moment): the task is cancelled, no hop is delivered afterwards, nothing hangs.
void quitWhileHopping(bool workerChecksStop) {
    std::atomic<bool> refusedHop = false;
    std::atomic<int> hops = 0;
    auto started = start([&](const TaskHop& onMain) {
        while (!workerChecksStop || !onMain.stopToken().stop_requested()) {
            if (!onMain([&] { ++hops; })) {
                refusedHop = true;
                if (!workerChecksStop) {
                    return;
                }
            }
        }
        refusedHop = refusedHop || !onMain([] {});
    });
    QTimer::singleShot(100, qApp, [] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    const bool ok = started.task->isCancelled() && refusedHop && hops > 0 && backgroundTaskCount() == 0;
    std::_Exit(ok ? 0 : 1);
}

TEST(TaskRunnerDeathTest, QuittingCancelsAndReleasesAHoppingTask) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(quitWhileHopping(true), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(quitWhileHopping(false), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace norvane
