#ifndef ZVX_LOG_H
#define ZVX_LOG_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <sys/uio.h>

#include "zvx_util_map.h"

// Process-wide log: groups (a tag and a severity threshold) send their messages to drains
// (standard output, Android-style output, binary record file), both registered by name.

typedef enum zvx_log_severity {
    ZVX_LOG_PANIC = 0,
    ZVX_LOG_ERROR = 1,
    ZVX_LOG_WARNING = 2,
    ZVX_LOG_INFO = 3,
    ZVX_LOG_DEBUG = 4,
    ZVX_LOG_VERBOSE = 5,
    ZVX_LOG_MAX = 6
} zvx_log_severity;

typedef enum android_LogPriority {
    ANDROID_LOG_UNKNOWN = 0,
    ANDROID_LOG_DEFAULT = 1,
    ANDROID_LOG_VERBOSE = 2,
    ANDROID_LOG_DEBUG = 3,
    ANDROID_LOG_INFO = 4,
    ANDROID_LOG_WARN = 5,
    ANDROID_LOG_ERROR = 6,
    ANDROID_LOG_FATAL = 7,
    ANDROID_LOG_SILENT = 8
} android_LogPriority;

struct zvx_log_drain;

// n_args is the caller's own argument count (informational; no drain uses it). The drain ends
// the line itself.
typedef void (*zvx_log_print_fptr)(struct zvx_log_drain *drain, zvx_log_severity severity, const char *tag,
                                   const char *fmt, uint32_t n_args, ...) __attribute__((format(printf, 4, 6)));
typedef void (*zvx_log_data_fptr)(struct zvx_log_drain *drain, zvx_log_severity severity, const struct iovec *vec,
                                  size_t count);

// First member of every concrete drain.
struct zvx_log_drain {
    zvx_log_print_fptr print;
    zvx_log_data_fptr data;
};

struct zvx_log_drain_file {
    struct zvx_log_drain base;
    int32_t fd; // -1 when the file could not be opened: the drain then drops everything
};

struct zvx_log_group {
    const char *tag;
    zvx_log_severity severity;   // messages with a greater number are suppressed
    struct zvx_log_drain *drain; // not owned
};

struct zvx_log {
    struct zvx_map group; // name -> struct zvx_log_group *
    struct zvx_map drain; // name -> struct zvx_log_drain *
};

// Binary record of the file drain: this little-endian header, then the text, no terminator.
#define ZVX_LOG_MAGIC 0x5A56584Cu

typedef enum zvx_log_type {
    ZVX_LOG_TYPE_TEXT = 0,
    ZVX_LOG_TYPE_FWIF = 1,
    ZVX_LOG_TYPE_FW_BINARY = 2,
    ZVX_LOG_TYPE_MAX = 3
} zvx_log_type;

struct zvx_log_timeval {
    uint64_t sec;
    uint64_t nsec;
};

struct zvx_log_header {
    uint32_t magic;
    uint16_t length; // untruncated text length modulo 65536
    uint8_t type;
    uint8_t severity;
    struct zvx_log_timeval timestamp; // monotonic clock
};
static_assert(sizeof(struct zvx_log_header) == 24);

// Record file of the "ram0" drain; appended to only when it already exists.
#define ZVX_LOG_RAM0_PATH "/sys/kernel/debug/zvx/drain/ram0/msg"

struct zvx_log *zvx_log_get_instance(void);
void zvx_log_construct(struct zvx_log *log);
void zvx_log_destruct(struct zvx_log *log);

void zvx_log_group_construct(struct zvx_log_group *group, const char *tag, zvx_log_severity severity,
                             struct zvx_log_drain *drain);
void zvx_log_group_destruct(struct zvx_log_group *group);
void zvx_log_group_add(struct zvx_log *log, const char *name, struct zvx_log_group *group);
// Per-group configuration hook, run for every group; changes nothing and returns false.
bool zvx_log_group_configure(zvx_map_constpointer name, zvx_map_pointer group, void *log);
void zvx_log_drain_add(struct zvx_log *log, const char *name, struct zvx_log_drain *drain);

// Commands separated by ";": "group NAME severity LEVEL" and "group NAME drain DRAIN". A command
// that is not understood is skipped. A null str changes nothing.
void zvx_log_configure(struct zvx_log *log, const char *str);
// Case-insensitive "Panic" ... "Verbose"; ZVX_LOG_MAX when unknown.
zvx_log_severity string_to_severity(const char *str);

void zvx_log_drain_construct(struct zvx_log_drain *drain, zvx_log_print_fptr print, zvx_log_data_fptr data);
void zvx_log_drain_destruct(struct zvx_log_drain *drain);
void zvx_log_drain_printf_construct(struct zvx_log_drain *drain);
void zvx_log_drain_printf_destruct(struct zvx_log_drain *drain);
void zvx_log_drain_alog_construct(struct zvx_log_drain *drain);
void zvx_log_drain_alog_destruct(struct zvx_log_drain *drain);
// Opens file for appending, never creating it.
void zvx_log_drain_file_construct(struct zvx_log_drain_file *drain, const char *file);
void zvx_log_drain_file_destruct(struct zvx_log_drain_file *drain);

// Base name of a path: the part after the last '/'.
const char *zvx_log_strrchr(const char *s);
// Like vsnprintf, but return what was placed: the result clamped to [0, size].
int vscnprintf(char *str, size_t size, const char *fmt, va_list args) __attribute__((format(printf, 3, 0)));
int scnprintf(char *str, size_t size, const char *fmt, ...) __attribute__((format(printf, 3, 4)));

// The program's own Android logging entry points, writing to standard output with a
// "MM-DD hh:mm:ss.mmm  pid   tid P tag: " prefix; they return the characters written.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the platform's own names
extern "C" int __android_log_vprint(int prio, const char *tag, const char *fmt, va_list args)
    __attribute__((format(printf, 3, 0)));
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the platform's own names
extern "C" int __android_log_print(int prio, const char *tag, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

namespace zvx::log_detail {
// Only ever named inside decltype, so the arguments are never evaluated.
template <typename... Args> std::integral_constant<uint32_t, sizeof...(Args)> count_args(Args...);
} // namespace zvx::log_detail

// Logs through a group when the group's threshold admits the severity. The check comes first:
// a suppressed call evaluates none of its arguments. The format ends in " (%s:%d)", which the
// macro fills with the source file's base name and line:
//
//   ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "destroy(comp=%p). (%s:%d)", comp);
#define ZVX_LOG(log_group, log_severity, log_format, ...)                                                              \
    do {                                                                                                               \
        struct zvx_log_group *const zvx_log_group_ = (log_group);                                                      \
        const zvx_log_severity zvx_log_severity_ = (log_severity);                                                     \
        if (zvx_log_group_->severity >= zvx_log_severity_)                                                             \
            zvx_log_group_->drain->print(zvx_log_group_->drain, zvx_log_severity_, zvx_log_group_->tag, log_format,    \
                                         decltype(::zvx::log_detail::count_args(__VA_ARGS__))::value,                  \
                                         __VA_ARGS__ __VA_OPT__(, ) zvx_log_strrchr(__FILE__), __LINE__);              \
    } while (0)

#endif
