// Platform layer of the test framework: streams, files, memory, clock, sleeping, threads and
// synchronisation. The framework makes no direct system calls; everything goes through here.
#ifndef QURO_TPI_H
#define QURO_TPI_H

#include <pthread.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

typedef FILE quro_tpi_file;
typedef pthread_mutex_t quro_tpi_mutex;
typedef sem_t quro_tpi_sem;
typedef pthread_t quro_tpi_thread;
typedef pthread_barrier_t quro_tpi_barrier;
typedef uint32_t quro_tpi_uint32;
typedef uint64_t quro_tpi_uint64;
typedef int quro_tpi_bool; // non-zero = success / true

typedef void *(*quro_tpi_thread_function)(void *argument);

typedef enum quro_tpi_dir {
    QURO_TPI_DIR_DATA = 0,
    QURO_TPI_DIR_RESULTS = 1,
} quro_tpi_dir;

// Outcomes of the sleep services.
enum {
    QURO_TPI_SLEEP_DONE = 0,
    QURO_TPI_SLEEP_ERROR = 1,
    QURO_TPI_SLEEP_INTERRUPTED = 2,
};

#define QURO_TPI_PRINTF_LIKE(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))

// A programming error in a caller: ends the process with the C library's assertion message. Unlike
// assert() it is never compiled out, so the checked expression may have effects.
#define QURO_TPI_ASSERT(expr) ((expr) ? (void)0 : quro_tpi_assert_fail(#expr, __FILE__, __LINE__, __func__))

[[noreturn]] void quro_tpi_assert_fail(const char *expression, const char *file, int line, const char *function);

quro_tpi_bool quro_tpi_init(void);
void quro_tpi_shutdown(void);

quro_tpi_file *quro_tpi_stdout(void);
quro_tpi_file *quro_tpi_stderr(void);

// QURO_TPI_DIR_RESULTS places the name under "results/", creating the directories on the way.
quro_tpi_file *quro_tpi_fopen(quro_tpi_dir dir, const char *name, const char *mode);
size_t quro_tpi_fread(void *buffer, size_t size, size_t count, quro_tpi_file *file);
size_t quro_tpi_fwrite(const void *buffer, size_t size, size_t count, quro_tpi_file *file);
int quro_tpi_fputs(const char *text, quro_tpi_file *file);
int quro_tpi_fclose(quro_tpi_file *file);
int quro_tpi_fflush(quro_tpi_file *file);
size_t quro_tpi_fsize(quro_tpi_file *file); // 0 on any failure

// Writes the text to standard output and flushes it.
int quro_tpi_puts(const char *text);

// printf family: the C library's conversions; into no buffer returns the full length; into n bytes
// writes at most n - 1 characters, terminates and still returns the full length; a stream's lock is
// held for the whole text.
int quro_tpi_printf(const char *format, ...) QURO_TPI_PRINTF_LIKE(1, 2);
int quro_tpi_fprintf(quro_tpi_file *file, const char *format, ...) QURO_TPI_PRINTF_LIKE(2, 3);
int quro_tpi_vfprintf(quro_tpi_file *file, const char *format, va_list arguments) QURO_TPI_PRINTF_LIKE(2, 0);
int quro_tpi_snprintf(char *buffer, size_t size, const char *format, ...) QURO_TPI_PRINTF_LIKE(3, 4);
int quro_tpi_vsnprintf(char *buffer, size_t size, const char *format, va_list arguments) QURO_TPI_PRINTF_LIKE(3, 0);

void *quro_tpi_alloc(size_t size);
void quro_tpi_free(void *memory);
// A hint: maps the pages of memory just allocated in one go, where the platform can, instead of
// one page fault per first write.
void quro_tpi_prefault(void *memory, size_t size);

// Monotonic clock in nanoseconds; 0 if the clock fails.
quro_tpi_uint64 quro_tpi_get_time_ns(void);
// Both return QURO_TPI_SLEEP_DONE, _ERROR or _INTERRUPTED (the latter only when interruptible).
int quro_tpi_sleep_ns(quro_tpi_uint64 ns, quro_tpi_bool interruptible);
int quro_tpi_sleep_until_ns(quro_tpi_uint64 deadline_ns, quro_tpi_bool interruptible);

quro_tpi_bool quro_tpi_thread_create(quro_tpi_thread *thread, quro_tpi_thread_function function, void *argument);
quro_tpi_bool quro_tpi_thread_wait(quro_tpi_thread thread, void **result);
quro_tpi_uint32 quro_tpi_thread_id(void);

quro_tpi_bool quro_tpi_mutex_init(quro_tpi_mutex *mutex);
void quro_tpi_mutex_term(quro_tpi_mutex *mutex);
void quro_tpi_mutex_lock(quro_tpi_mutex *mutex);
void quro_tpi_mutex_unlock(quro_tpi_mutex *mutex);

quro_tpi_bool quro_tpi_barrier_init(quro_tpi_barrier *barrier, unsigned count);
quro_tpi_bool quro_tpi_barrier_destroy(quro_tpi_barrier *barrier);
quro_tpi_bool quro_tpi_barrier_wait(quro_tpi_barrier *barrier);

quro_tpi_bool quro_tpi_sem_init(quro_tpi_sem *sem, unsigned value);
void quro_tpi_sem_term(quro_tpi_sem *sem);
void quro_tpi_sem_post(quro_tpi_sem *sem);
// timeout_ns 0 waits without limit; otherwise false on timeout.
quro_tpi_bool quro_tpi_sem_wait(quro_tpi_sem *sem, quro_tpi_uint64 timeout_ns);

#endif
