#include <cerrno>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "zvx_util_atomic.h"
#include "zvx_util_semaphore.h"
#include "zvx_util_semaphore_deadline.h"

TEST(ZvxAtomic, CompareExchangeAndWrappingArithmetic)
{
    zvxu_atomic atomic{5};
    EXPECT_EQ(zvxu_atomic_cmpxchg(&atomic, 4, 9), 5u);
    EXPECT_EQ(zvxu_atomic_get(&atomic), 5u);
    EXPECT_EQ(zvxu_atomic_cmpxchg(&atomic, 5, 9), 5u);
    EXPECT_EQ(zvxu_atomic_get(&atomic), 9u);

    zvxu_atomic_sub(&atomic, 10);
    EXPECT_EQ(zvxu_atomic_get(&atomic), 0xFFFFFFFFu);
    zvxu_atomic_add(&atomic, 2);
    EXPECT_EQ(zvxu_atomic_get(&atomic), 1u);
    zvxu_atomic_set(&atomic, 42);
    EXPECT_EQ(zvxu_atomic_get(&atomic), 42u);

    // Contended updates: a lost race must retry, never drop or repeat an update.
    auto hammer = [&atomic] {
        for (int i = 0; i < 100000; ++i) {
            zvxu_atomic_add(&atomic, 3);
            zvxu_atomic_sub(&atomic, 1);
        }
    };
    std::thread other(hammer);
    hammer();
    other.join();
    EXPECT_EQ(zvxu_atomic_get(&atomic), 42u + 400000u);
}

TEST(ZvxSemaphore, OpenIsTakenOnceWithoutWaitingAndClosedTimesOutWithinAMillisecond)
{
    zvx_util_semaphore_t sem;
    ASSERT_EQ(zvxu_semaphore_init(&sem), 0);
    EXPECT_EQ(zvxu_semaphore_wait(&sem, 0), 0);
    EXPECT_EQ(zvxu_semaphore_wait(&sem, 10), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(zvxu_semaphore_destroy(&sem), 0);

    ASSERT_EQ(zvxu_semaphore_init_locked(&sem), 0);
    const auto start = std::chrono::system_clock::now();
    EXPECT_EQ(zvxu_semaphore_wait(&sem, 1300), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    const auto waited = std::chrono::system_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(1299));
    EXPECT_LT(waited, std::chrono::milliseconds(1800));
    zvxu_semaphore_destroy(&sem);
}

// Whatever the clock reads when a test runs: milliseconds that pass a second carry into the seconds.
TEST(ZvxSemaphore, DeadlineCarriesMillisecondsIntoSeconds)
{
    struct Case {
        timespec now;
        long timeout;
        timespec deadline;
    };
    const Case cases[] = {
        {{100, 999999999}, 1, {101, 0}},
        {{100, 700000000}, 1300, {102, 0}},
        {{100, 500123456}, 2750, {103, 250000000}},
        {{100, 0}, 999, {100, 999000000}},
        {{100, 1999999}, 0, {100, 1000000}},
    };
    for (const Case &c : cases) {
        const timespec deadline = zvxu_semaphore_deadline(c.now, c.timeout);
        EXPECT_EQ(deadline.tv_sec, c.deadline.tv_sec) << c.now.tv_nsec << " + " << c.timeout << " ms";
        EXPECT_EQ(deadline.tv_nsec, c.deadline.tv_nsec) << c.now.tv_nsec << " + " << c.timeout << " ms";
    }
}
