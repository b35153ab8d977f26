#include "core/Worker.h"

#include "support/TestSupport.h"

#include <QSet>

#include <atomic>
#include <semaphore>

namespace {

using pelix::core::Worker;

TEST(Worker, NothingComesBackOnceTheOwnerOrTheWorkerIsGone) {
    std::binary_semaphore gate(0);
    bool called = false;
    {
        auto owner = std::make_unique<QObject>();
        Worker worker(owner.get());
        worker.run([&gate] { gate.acquire(); }, [&] { called = true; });
        owner.reset();
        gate.release();
        worker.stop();
        QCoreApplication::processEvents();
    }
    EXPECT_FALSE(called);

    QObject owner;
    bool calledLate = false;
    {
        Worker worker(&owner);
        worker.run([] {}, [&] { calledLate = true; });
        worker.stop();  // the job has ended and its result waits in the queue
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(calledLate);
}

TEST(Worker, StopReachesRunningJobsAndTheWorkerWaitsForThem) {
    std::atomic<int> ended = 0;
    std::atomic<bool> queuedSawStop = false;
    auto loop = [&ended](std::stop_token stop) {
        while (!stop.stop_requested()) QThread::msleep(1);
        ++ended;
    };
    {
        QObject owner;
        Worker worker(&owner, 2);
        std::stop_source first = worker.run(loop);
        worker.run(loop);
        first.request_stop();
        ASSERT_TRUE(pelix::testing::waitUntil([&] { return ended == 1; }));

        Worker serial(&owner, 1);
        serial.run(loop);
        serial.run([&](std::stop_token stop) { queuedSawStop = stop.stop_requested(); });
    }  // both Workers stop their jobs and wait for them
    EXPECT_EQ(ended, 3);
    EXPECT_TRUE(queuedSawStop);
}

TEST(Worker, SerialWorkerRunsJobsOneAtATimeInOrderOnOneThread) {
    QObject owner;
    Worker worker(&owner, 1);
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    QList<int> ran, done, expected;  // `ran` is written by the jobs only, one at a time
    QSet<QThread*> threads;
    for (int i = 0; i < 40; ++i) {
        expected << i;
        worker.run(
            [&, i] {
                if (++inside > 1) overlapped = true;
                if (i % 8 == 0) QThread::msleep(2);
                ran << i;
                threads << QThread::currentThread();
                --inside;
                return i;
            },
            [&](int i) { done << i; });
    }
    ASSERT_TRUE(pelix::testing::waitUntil([&] { return done.size() == 40; }));
    EXPECT_FALSE(overlapped);
    EXPECT_EQ(ran, expected);
    EXPECT_EQ(done, expected);
    EXPECT_EQ(threads.size(), 1);
}

}  // namespace
