#include <cerrno>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "zvx_util_atomic.h"
#include "zvx_util_semaphore.h"

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
}

TEST(ZvxAtomic, ConcurrentAddsAreNotLost)
{
    zvxu_atomic counter{0};
    auto add_many = [&counter] {
        for (int i = 0; i < 100000; ++i)
            zvxu_atomic_add(&counter, 1);
    };
    std::thread first(add_many), second(add_many);
    first.join();
    second.join();
    EXPECT_EQ(zvxu_atomic_get(&counter), 200000u);
}

TEST(ZvxSemaphore, OpenSemaphoreIsTakenOnceWithoutWaiting)
{
    zvx_util_semaphore_t sem;
    ASSERT_EQ(zvxu_semaphore_init(&sem), 0);
    EXPECT_EQ(zvxu_semaphore_wait(&sem, 0), 0);
    EXPECT_EQ(zvxu_semaphore_wait(&sem, 10), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(zvxu_semaphore_destroy(&sem), 0);
}

TEST(ZvxSemaphore, TimedWaitOnClosedSemaphoreTimesOutWithinAMillisecond)
{
    zvx_util_semaphore_t sem;
    ASSERT_EQ(zvxu_semaphore_init_locked(&sem), 0);
    const auto start = std::chrono::system_clock::now();
    EXPECT_EQ(zvxu_semaphore_wait(&sem, 1300), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    const auto waited = std::chrono::system_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(1299));
    EXPECT_LT(waited, std::chrono::milliseconds(1800));
    zvxu_semaphore_destroy(&sem);
}

TEST(ZvxSemaphore, PostFromAnotherThreadEndsTheWait)
{
    zvx_util_semaphore_t sem;
    ASSERT_EQ(zvxu_semaphore_init_locked(&sem), 0);
    std::thread poster([&sem] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        zvxu_semaphore_post(&sem);
    });
    EXPECT_EQ(zvxu_semaphore_wait(&sem, 10000), 0);
    poster.join();
    zvxu_semaphore_destroy(&sem);
}
