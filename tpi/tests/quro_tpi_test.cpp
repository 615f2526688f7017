#include <gtest/gtest.h>

#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include "quro_tpi.h"

namespace {

TEST(TpiFormat, TruncatesButReportsFullLength)
{
    char buffer[8];
    EXPECT_EQ(quro_tpi_snprintf(buffer, sizeof(buffer), "%s-%05d", "abc", 42), 9);
    EXPECT_STREQ(buffer, "abc-000");
    EXPECT_EQ(quro_tpi_snprintf(nullptr, 0, "%-6s|%.2f|%llx", "x", 1.25, 255ull), 14);
}

// Prefaulting is a hint: whatever range it is given, the memory keeps what was written to it.
TEST(TpiMemory, PrefaultKeepsContentsOverAnyRange)
{
    constexpr size_t kSize = 3 * 65536 + 123;
    auto *memory = static_cast<unsigned char *>(quro_tpi_alloc(kSize));
    ASSERT_NE(memory, nullptr);
    for (size_t i = 0; i < kSize; ++i) {
        memory[i] = static_cast<unsigned char>(i * 31);
    }
    quro_tpi_prefault(memory, kSize);
    quro_tpi_prefault(memory + 1, 100);
    quro_tpi_prefault(memory + 7, 0);
    for (size_t i = 0; i < kSize; ++i) {
        ASSERT_EQ(memory[i], static_cast<unsigned char>(i * 31)) << "at " << i;
    }
    quro_tpi_free(memory);
}

TEST(TpiFiles, ResultsPathCreatesEveryDirectory)
{
    char scratch[] = "/tmp/quro_tpi_XXXXXX";
    ASSERT_NE(mkdtemp(scratch), nullptr);
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof(previous)), nullptr);
    ASSERT_EQ(chdir(scratch), 0);
    quro_tpi_file *file = quro_tpi_fopen(QURO_TPI_DIR_RESULTS, "a/b/c.txt", "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(quro_tpi_fwrite("hello", 1, 5, file), 5u);
    EXPECT_EQ(quro_tpi_fsize(file), 5u);
    EXPECT_EQ(quro_tpi_fclose(file), 0);
    struct stat info {};
    EXPECT_EQ(stat("results/a/b/c.txt", &info), 0);
    EXPECT_EQ(info.st_size, 5);
    file = quro_tpi_fopen(QURO_TPI_DIR_RESULTS, "a/b/c.txt", "rb");
    ASSERT_NE(file, nullptr) << "existing directories are fine";
    char text[6] = {};
    EXPECT_EQ(quro_tpi_fread(text, 1, 5, file), 5u);
    EXPECT_STREQ(text, "hello");
    quro_tpi_fclose(file);
    ASSERT_EQ(chdir(previous), 0);
    std::error_code removed;
    std::filesystem::remove_all(scratch, removed);
    EXPECT_FALSE(removed) << removed.message();
}

TEST(TpiTime, SemaphoreTimeoutFollowsTheRealtimeClockAndOnlyAnInterruptibleSleepEndsEarly)
{
    quro_tpi_sem sem;
    ASSERT_TRUE(quro_tpi_sem_init(&sem, 1));
    EXPECT_TRUE(quro_tpi_sem_wait(&sem, 0));
    timespec before{};
    clock_gettime(CLOCK_REALTIME, &before);
    EXPECT_FALSE(quro_tpi_sem_wait(&sem, 150000000));
    timespec after{};
    clock_gettime(CLOCK_REALTIME, &after);
    const double waited =
        static_cast<double>(after.tv_sec - before.tv_sec) + static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9;
    EXPECT_GE(waited, 0.15);
    std::thread poster([&sem] { quro_tpi_sem_post(&sem); });
    EXPECT_TRUE(quro_tpi_sem_wait(&sem, 5000000000ull));
    poster.join();
    quro_tpi_sem_term(&sem);

    // Of two sleeps a signal interrupts, only the interruptible one returns early.
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    const pthread_t sleeper = pthread_self();
    for (const bool interruptible : {true, false}) {
        std::thread interrupter([sleeper] {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            pthread_kill(sleeper, SIGUSR1);
        });
        const quro_tpi_uint64 start = quro_tpi_get_time_ns();
        const int outcome = quro_tpi_sleep_ns(200000000, interruptible);
        const quro_tpi_uint64 slept = quro_tpi_get_time_ns() - start;
        interrupter.join();
        if (interruptible) {
            EXPECT_EQ(outcome, QURO_TPI_SLEEP_INTERRUPTED);
            EXPECT_LT(slept, 200000000u);
        } else {
            EXPECT_EQ(outcome, QURO_TPI_SLEEP_DONE);
            EXPECT_GE(slept, 200000000u);
        }
    }
    EXPECT_NE(signal(SIGUSR1, SIG_DFL), SIG_ERR);
}

TEST(TpiThreads, ThreadsBarrierMutexAndAThreadIdOfEachThreadAndProcess)
{
    quro_tpi_barrier barrier;
    ASSERT_TRUE(quro_tpi_barrier_init(&barrier, 2));
    quro_tpi_mutex mutex;
    ASSERT_TRUE(quro_tpi_mutex_init(&mutex));
    struct Shared {
        quro_tpi_barrier *barrier;
        quro_tpi_mutex *mutex;
        int counter;
        quro_tpi_uint32 id;
    } shared{&barrier, &mutex, 0, 0};
    quro_tpi_thread thread;
    ASSERT_TRUE(quro_tpi_thread_create(
        &thread,
        [](void *argument) -> void * {
            auto *s = static_cast<Shared *>(argument);
            s->id = quro_tpi_thread_id();
            quro_tpi_barrier_wait(s->barrier);
            quro_tpi_mutex_lock(s->mutex);
            s->counter++;
            quro_tpi_mutex_unlock(s->mutex);
            return argument;
        },
        &shared));
    EXPECT_TRUE(quro_tpi_barrier_wait(&barrier));
    quro_tpi_mutex_lock(&mutex);
    shared.counter++;
    quro_tpi_mutex_unlock(&mutex);
    void *result = nullptr;
    EXPECT_TRUE(quro_tpi_thread_wait(thread, &result));
    EXPECT_EQ(result, &shared);
    EXPECT_EQ(shared.counter, 2);
    EXPECT_NE(shared.id, quro_tpi_thread_id());
    EXPECT_EQ(quro_tpi_thread_id(), static_cast<quro_tpi_uint32>(getpid())) << "the main thread's id is the pid";
    quro_tpi_mutex_term(&mutex);
    EXPECT_TRUE(quro_tpi_barrier_destroy(&barrier));

    // The id is remembered per thread; a forked child must not inherit its parent's.
    const quro_tpi_uint32 parent = quro_tpi_thread_id();
    const pid_t child = fork();
    if (child == 0) {
        _exit(quro_tpi_thread_id() == static_cast<quro_tpi_uint32>(getpid()) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(quro_tpi_thread_id(), parent);
}

} // namespace
