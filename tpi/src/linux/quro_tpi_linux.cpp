// Linux platform services: each maps onto one POSIX facility.
// The C library's assertion reporter is used in every build type.
#undef NDEBUG
#include <assert.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "quro_tpi.h"

namespace {

constexpr quro_tpi_uint64 kNsPerSecond = 1000000000ull;

timespec quro_tpip_to_timespec(quro_tpi_uint64 ns)
{
    timespec ts{};
    ts.tv_sec = static_cast<time_t>(ns / kNsPerSecond);
    ts.tv_nsec = static_cast<long>(ns % kNsPerSecond);
    return ts;
}

// Creates every directory on the path (each prefix that ends before a '/').
bool quro_tpip_make_parent_dirs(const std::string &path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        const std::string dir = path.substr(0, slash);
        if (mkdir(dir.c_str(), 0777) != 0 && errno != EEXIST) {
            return false;
        }
    }
    return true;
}

// Each thread asks the kernel once; 0 = not asked yet. A forked child is a new thread of its own,
// so the forking thread's copy is cleared there.
thread_local quro_tpi_uint32 quro_tpip_cached_thread_id = 0;

[[maybe_unused]] const int quro_tpip_fork_handler_installed =
    pthread_atfork(nullptr, nullptr, [] { quro_tpip_cached_thread_id = 0; });

} // namespace

void quro_tpi_assert_fail(const char *expression, const char *file, int line, const char *function)
{
    __assert_fail(expression, file, static_cast<unsigned>(line), function);
}

quro_tpi_bool quro_tpi_init(void)
{
    return 1;
}

void quro_tpi_shutdown(void) {}

quro_tpi_file *quro_tpi_stdout(void)
{
    return stdout;
}

quro_tpi_file *quro_tpi_stderr(void)
{
    return stderr;
}

quro_tpi_file *quro_tpi_fopen(quro_tpi_dir dir, const char *name, const char *mode)
{
    switch (dir) {
    case QURO_TPI_DIR_DATA:
        return fopen(name, mode);
    case QURO_TPI_DIR_RESULTS: {
        const std::string path = std::string("results/") + name;
        if (!quro_tpip_make_parent_dirs(path)) {
            return nullptr;
        }
        return fopen(path.c_str(), mode);
    }
    }
    QURO_TPI_ASSERT(!"unknown quro_tpi_dir");
}

size_t quro_tpi_fread(void *buffer, size_t size, size_t count, quro_tpi_file *file)
{
    return fread(buffer, size, count, file);
}

size_t quro_tpi_fwrite(const void *buffer, size_t size, size_t count, quro_tpi_file *file)
{
    return fwrite(buffer, size, count, file);
}

int quro_tpi_fputs(const char *text, quro_tpi_file *file)
{
    return fputs(text, file);
}

int quro_tpi_fclose(quro_tpi_file *file)
{
    return fclose(file);
}

int quro_tpi_fflush(quro_tpi_file *file)
{
    return fflush(file);
}

size_t quro_tpi_fsize(quro_tpi_file *file)
{
    const long position = ftell(file);
    if (position < 0 || fseek(file, 0, SEEK_END) != 0) {
        return 0;
    }
    const long end = ftell(file);
    if (fseek(file, position, SEEK_SET) != 0 || end < 0) {
        return 0;
    }
    return static_cast<size_t>(end);
}

void *quro_tpi_alloc(size_t size)
{
    return malloc(size);
}

void quro_tpi_free(void *memory)
{
    free(memory);
}

void quro_tpi_prefault(void *memory, size_t size)
{
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t first = (reinterpret_cast<uintptr_t>(memory) + page - 1) & ~(page - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(memory) + size) & ~(page - 1);
    if (end > first) {
        madvise(reinterpret_cast<void *>(first), end - first, MADV_POPULATE_WRITE); // a hint: failure is harmless
    }
}

quro_tpi_uint64 quro_tpi_get_time_ns(void)
{
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        return 0;
    }
    return static_cast<quro_tpi_uint64>(now.tv_sec) * kNsPerSecond + static_cast<quro_tpi_uint64>(now.tv_nsec);
}

int quro_tpi_sleep_ns(quro_tpi_uint64 ns, quro_tpi_bool interruptible)
{
    if (interruptible) {
        const timespec duration = quro_tpip_to_timespec(ns);
        const int err = clock_nanosleep(CLOCK_MONOTONIC, 0, &duration, nullptr);
        if (err == 0) {
            return QURO_TPI_SLEEP_DONE;
        }
        return err == EINTR ? QURO_TPI_SLEEP_INTERRUPTED : QURO_TPI_SLEEP_ERROR;
    }
    const quro_tpi_uint64 now = quro_tpi_get_time_ns();
    if (now == 0) {
        return QURO_TPI_SLEEP_ERROR;
    }
    return quro_tpi_sleep_until_ns(now + ns, 0);
}

int quro_tpi_sleep_until_ns(quro_tpi_uint64 deadline_ns, quro_tpi_bool interruptible)
{
    const timespec deadline = quro_tpip_to_timespec(deadline_ns);
    for (;;) {
        const int err = clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr);
        if (err == 0) {
            return QURO_TPI_SLEEP_DONE;
        }
        if (err != EINTR) {
            return QURO_TPI_SLEEP_ERROR;
        }
        if (interruptible) {
            return QURO_TPI_SLEEP_INTERRUPTED;
        }
    }
}

quro_tpi_bool quro_tpi_thread_create(quro_tpi_thread *thread, quro_tpi_thread_function function, void *argument)
{
    return pthread_create(thread, nullptr, function, argument) == 0;
}

quro_tpi_bool quro_tpi_thread_wait(quro_tpi_thread thread, void **result)
{
    return pthread_join(thread, result) == 0;
}

quro_tpi_uint32 quro_tpi_thread_id(void)
{
    if (quro_tpip_cached_thread_id == 0) {
        quro_tpip_cached_thread_id = static_cast<quro_tpi_uint32>(gettid());
    }
    return quro_tpip_cached_thread_id;
}

quro_tpi_bool quro_tpi_mutex_init(quro_tpi_mutex *mutex)
{
    return pthread_mutex_init(mutex, nullptr) == 0;
}

void quro_tpi_mutex_term(quro_tpi_mutex *mutex)
{
    pthread_mutex_destroy(mutex);
}

void quro_tpi_mutex_lock(quro_tpi_mutex *mutex)
{
    pthread_mutex_lock(mutex);
}

void quro_tpi_mutex_unlock(quro_tpi_mutex *mutex)
{
    pthread_mutex_unlock(mutex);
}

quro_tpi_bool quro_tpi_barrier_init(quro_tpi_barrier *barrier, unsigned count)
{
    return pthread_barrier_init(barrier, nullptr, count) == 0;
}

quro_tpi_bool quro_tpi_barrier_destroy(quro_tpi_barrier *barrier)
{
    return pthread_barrier_destroy(barrier) == 0;
}

quro_tpi_bool quro_tpi_barrier_wait(quro_tpi_barrier *barrier)
{
    const int err = pthread_barrier_wait(barrier);
    return err == 0 || err == PTHREAD_BARRIER_SERIAL_THREAD;
}

quro_tpi_bool quro_tpi_sem_init(quro_tpi_sem *sem, unsigned value)
{
    return sem_init(sem, 0, value) == 0;
}

void quro_tpi_sem_term(quro_tpi_sem *sem)
{
    const int err = sem_destroy(sem);
    QURO_TPI_ASSERT(err == 0);
}

void quro_tpi_sem_post(quro_tpi_sem *sem)
{
    const int err = sem_post(sem);
    QURO_TPI_ASSERT(err == 0);
}

quro_tpi_bool quro_tpi_sem_wait(quro_tpi_sem *sem, quro_tpi_uint64 timeout_ns)
{
    if (timeout_ns == 0) {
        while (sem_wait(sem) != 0) {
            QURO_TPI_ASSERT(errno == EINTR);
        }
        return 1;
    }
    // sem_timedwait only takes a realtime deadline.
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    const timespec timeout = quro_tpip_to_timespec(timeout_ns);
    deadline.tv_sec += timeout.tv_sec;
    deadline.tv_nsec += timeout.tv_nsec;
    if (deadline.tv_nsec >= static_cast<long>(kNsPerSecond)) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= static_cast<long>(kNsPerSecond);
    }
    while (sem_timedwait(sem, &deadline) != 0) {
        if (errno == EINTR) {
            continue;
        }
        QURO_TPI_ASSERT(errno == ETIMEDOUT);
        return 0;
    }
    return 1;
}
