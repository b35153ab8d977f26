#pragma once

#include <QObject>
#include <QPointer>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <type_traits>
#include <utility>
#include <vector>

namespace pelix::core {

// Runs work off its owner's thread and hands the results back to that thread. Every piece of
// work that leaves the main thread goes through one of these.
//
// Rules of use:
// - Make the Worker on its owner's thread, as a member of the owner declared after everything
//   its jobs use (members are destroyed last to first, so the Worker ends its jobs before those
//   go). `done` callbacks and posted calls run on the owner's thread, queued, and never once the
//   owner (the QObject given; without one, the Worker itself) or the Worker is gone.
// - Every job gets a std::stop_token. Stop is requested through the std::stop_source that `run`
//   returns (that job alone), by `stop()` and by the destructor (every job). A job that takes
//   long looks at its token, or wakes what it waits on from a std::stop_callback; a loop that
//   lives as long as its owner (a render loop, a signal watcher) is a job that ends when its
//   token fires.
// - `stop()` and the destructor wait until every job has ended, including those handed over and
//   not started yet: these still run, their token already stopped.
// - With `threads` 1 the Worker is serial: jobs run one at a time, in the order they were handed
//   over, on one thread kept for the Worker's life. Otherwise up to `threads` jobs run at once
//   (0: as many as the machine has cores).
// - A job never waits for the owner's thread (that thread may be waiting for the job), and never
//   stops or destroys its own Worker. `done` runs whether or not the job's stop was requested;
//   it decides itself what a stopped job's result means.
class Worker {
public:
    explicit Worker(QObject* owner, int threads = 0);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // Runs `job(std::stop_token)` (or `job()`) on a thread of the Worker, then `done` with what
    // it returned (nothing when it returns nothing) on the owner's thread.
    template <class Job, class Done>
    std::stop_source run(Job job, Done done);
    // A job with nothing to hand back.
    template <class Job>
    std::stop_source run(Job job) {
        return start(copyable([job = std::move(job)](std::stop_token stop) mutable {
            invoke(job, std::move(stop));
        }));
    }

    // Runs `call` on the owner's thread under the rules of `done`. From any thread; calls posted
    // from one thread run in the order they were posted, and a job's posts come before its
    // `done`. For progress from a running job.
    template <class Call>
    void post(Call call) const {
        deliver(copyable(std::move(call)));
    }

    // Requests stop of every job and waits until all have ended. The owner's thread only.
    void stop();

private:
    template <class Job>
    static decltype(auto) invoke(Job& job, std::stop_token stop) {
        if constexpr (std::is_invocable_v<Job&, std::stop_token>) {
            return job(std::move(stop));
        } else {
            return job();
        }
    }
    // std::function wants a callable it can copy; a move-only one is shared instead.
    template <class F>
    static auto copyable(F f) {
        if constexpr (std::is_copy_constructible_v<F>) {
            return f;
        } else {
            return [shared = std::make_shared<F>(std::move(f))](auto&&... args) mutable {
                return (*shared)(std::forward<decltype(args)>(args)...);
            };
        }
    }

    std::stop_source start(std::function<void(std::stop_token)> job);
    void deliver(std::function<void()> call) const;

    QPointer<QObject> owner_;
    bool owned_;
    // Posts go through this object: it lives on the owner's thread for as long as the Worker,
    // and calls still queued when it goes go with it.
    std::unique_ptr<QObject> home_;
    std::mutex mutex_;
    std::vector<std::stop_source> jobs_;  // handed over and not yet ended
    QThreadPool pool_;
};

template <class Job, class Done>
std::stop_source Worker::run(Job job, Done done) {
    return start(copyable(
        [this, job = std::move(job), done = std::move(done)](std::stop_token stop) mutable {
            if constexpr (std::is_void_v<decltype(invoke(job, stop))>) {
                invoke(job, std::move(stop));
                post(std::move(done));
            } else {
                post([done = std::move(done), result = invoke(job, std::move(stop))]() mutable {
                    done(std::move(result));
                });
            }
        }));
}

}  // namespace pelix::core
