#include "model/task_runner.h"
#include "tests/support/test_services.h"

#include <QThread>

#include <gtest/gtest.h>

#include <stdexcept>

namespace norvane {
namespace {

struct Started {
    std::shared_ptr<BackgroundTask> task = std::make_shared<BackgroundTask>();
    std::weak_ptr<QObject> owner;
    std::shared_ptr<QThread*> releasedOn = std::make_shared<QThread*>(nullptr);
};

Started start(std::function<void(const TaskHop&)> work) {
    Started started;
    auto owner = std::make_shared<QObject>();
    QObject::connect(owner.get(), &QObject::destroyed, [on = started.releasedOn] { *on = QThread::currentThread(); });
    started.owner = owner;
    runBackgroundTask(std::move(owner), started.task, std::move(work));
    return started;
}

// The worker waits for each hop; a cancel made inside one is seen by the next. A task that
// throws ends alone. Both owners are released on the main thread.
TEST(TaskRunner, HopsRunInOrderOnTheMainThread) {
    QThread* const mainThread = QThread::currentThread();
    std::shared_ptr<BackgroundTask> task;
    int applied = 0;  // written on the main thread only
    std::vector<int> seenByWorker;
    std::vector<bool> cancelledAtHop;
    const auto started = start([&](const TaskHop& onMain) {
        for (int i = 1; i <= 4; ++i) {
            EXPECT_TRUE(onMain([&] {
                EXPECT_EQ(QThread::currentThread(), mainThread);
                cancelledAtHop.push_back(task->isCancelled());
                if (i == 2) task->requestCancel();  // as the model's cancel() does
                applied = i;
            }));
            seenByWorker.push_back(applied);  // only safe because the hop has completed
        }
    });
    task = started.task;
    const auto failed = start([](const TaskHop&) { throw std::runtime_error("boom"); });
    testing::waitForWorkers();

    EXPECT_EQ(seenByWorker, (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(cancelledAtHop, (std::vector<bool>{false, false, true, true}));
    for (const auto* ended : {&started, &failed}) {
        EXPECT_TRUE(ended->owner.expired());
        EXPECT_EQ(*ended->releasedOn, mainThread);
    }
}

}  // namespace
}  // namespace norvane
