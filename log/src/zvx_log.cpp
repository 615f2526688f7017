#include "zvx_log.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <strings.h>

#include <fcntl.h>
#include <unistd.h>

#include "zvx_mem.h"

namespace {
constexpr const char *severity_to_name[] = {"Panic", "Error", "Warning", "Info", "Debug", "Verbose"};
constexpr android_LogPriority severity_to_alog[] = {ANDROID_LOG_FATAL, ANDROID_LOG_ERROR, ANDROID_LOG_WARN,
                                                    ANDROID_LOG_INFO,  ANDROID_LOG_DEBUG, ANDROID_LOG_VERBOSE};
constexpr const char *priority_letter[] = {"U", "D", "V", "D", "I", "W", "E", "F", "S"};

constexpr size_t dump_row_bytes = 32;
constexpr size_t text_buffer_size = 1000;

unsigned clamp_severity(zvx_log_severity severity)
{
    const auto index = static_cast<unsigned>(severity);
    return index > unsigned{ZVX_LOG_VERBOSE} ? unsigned{ZVX_LOG_VERBOSE} : index;
}

char *copy_string(const char *str)
{
    const size_t size = strlen(str) + 1;
    auto *copy = static_cast<char *>(zvx_mem_malloc(size));
    if (copy != nullptr)
        memcpy(copy, str, size);
    return copy;
}

void free_name(zvx_map_pointer name)
{
    zvx_mem_free(name);
}

// Applies one "group NAME severity LEVEL" or "group NAME drain DRAIN" command; words past the
// fourth are ignored.
bool handle_config(struct zvx_log *log, char *config)
{
    char *words[4];
    char *save = nullptr;
    for (size_t i = 0; i < 4; ++i) {
        words[i] = strtok_r(i == 0 ? config : nullptr, " \n", &save);
        if (words[i] == nullptr)
            return false;
    }
    if (strcmp(words[0], "group") != 0)
        return false;
    auto *group = static_cast<struct zvx_log_group *>(zvx_map_find(&log->group, words[1]));
    if (group == nullptr)
        return false;
    if (strcmp(words[2], "severity") == 0) {
        const zvx_log_severity severity = string_to_severity(words[3]);
        if (severity > ZVX_LOG_VERBOSE)
            return false;
        group->severity = severity;
        return true;
    }
    if (strcmp(words[2], "drain") == 0) {
        auto *drain = static_cast<struct zvx_log_drain *>(zvx_map_find(&log->drain, words[3]));
        if (drain == nullptr)
            return false;
        group->drain = drain;
        return true;
    }
    return false;
}

void printf_print(struct zvx_log_drain *, zvx_log_severity severity, const char *tag, const char *fmt, uint32_t n_args,
                  ...)
{
    printf("%s %s: ", severity_to_name[clamp_severity(severity)], tag);
    va_list args;
    va_start(args, n_args);
    vprintf(fmt, args);
    va_end(args);
    printf("\n");
    (void)fflush(stdout);
}

void printf_data(struct zvx_log_drain *, zvx_log_severity severity, const struct iovec *vec, size_t count)
{
    printf("%s: count=%zu\n", severity_to_name[clamp_severity(severity)], count);
    for (size_t i = 0; i < count; ++i) {
        const auto *bytes = static_cast<const unsigned char *>(vec[i].iov_base);
        printf("  length=%zu\n", vec[i].iov_len);
        for (size_t row = 0; row < vec[i].iov_len; row += dump_row_bytes) {
            printf("   ");
            for (size_t b = row; b < vec[i].iov_len && b < row + dump_row_bytes; ++b)
                printf(" %02x", bytes[b]);
            printf("\n");
        }
    }
    (void)fflush(stdout);
}

void alog_print(struct zvx_log_drain *, zvx_log_severity severity, const char *tag, const char *fmt, uint32_t n_args,
                ...)
{
    va_list args;
    va_start(args, n_args);
    __android_log_vprint(severity_to_alog[clamp_severity(severity)], tag, fmt, args);
    va_end(args);
}

// One message, cut off silently at the buffer's end.
void alog_data(struct zvx_log_drain *, zvx_log_severity severity, const struct iovec *vec, size_t count)
{
    char text[text_buffer_size];
    size_t used = static_cast<size_t>(scnprintf(text, sizeof text, "count=%zu\n", count));
    for (size_t i = 0; i < count; ++i) {
        const auto *bytes = static_cast<const unsigned char *>(vec[i].iov_base);
        used += static_cast<size_t>(scnprintf(text + used, sizeof text - used, "  length=%zu", vec[i].iov_len));
        for (size_t row = 0; row < vec[i].iov_len; row += dump_row_bytes) {
            used += static_cast<size_t>(scnprintf(text + used, sizeof text - used, "\n   "));
            for (size_t b = row; b < vec[i].iov_len && b < row + dump_row_bytes; ++b)
                used += static_cast<size_t>(scnprintf(text + used, sizeof text - used, " %02x", bytes[b]));
        }
    }
    __android_log_print(severity_to_alog[clamp_severity(severity)], "ZVX", "%s", text);
}

void write_record(int fd, zvx_log_severity severity, const char *text, int length)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    struct zvx_log_header header;
    header.magic = ZVX_LOG_MAGIC;
    header.length = static_cast<uint16_t>(length);
    header.type = ZVX_LOG_TYPE_TEXT;
    header.severity = static_cast<uint8_t>(severity);
    header.timestamp.sec = static_cast<uint64_t>(now.tv_sec);
    header.timestamp.nsec = static_cast<uint64_t>(now.tv_nsec);
    const struct iovec parts[2] = {{&header, sizeof header}, {const_cast<char *>(text), static_cast<size_t>(length)}};
    [[maybe_unused]] const ssize_t written = writev(fd, parts, 2);
}

// The record carries the whole text: a message longer than the stack buffer is formatted again
// into one that fits.
void file_print(struct zvx_log_drain *drain, zvx_log_severity severity, const char *, const char *fmt, uint32_t n_args,
                ...)
{
    const int fd = reinterpret_cast<struct zvx_log_drain_file *>(drain)->fd;
    if (fd < 0)
        return;
    char text[text_buffer_size];
    va_list args;
    va_start(args, n_args);
    va_list retry;
    va_copy(retry, args);
    const int length = vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    if (length >= 0 && static_cast<size_t>(length) < sizeof text) {
        write_record(fd, severity, text, length);
    } else if (length >= 0) {
        auto *long_text = static_cast<char *>(zvx_mem_malloc(static_cast<size_t>(length) + 1));
        if (long_text != nullptr) {
            (void)vsnprintf(long_text, static_cast<size_t>(length) + 1, fmt, retry);
            write_record(fd, severity, long_text, length);
            zvx_mem_free(long_text);
        }
    }
    va_end(retry);
}

void file_data(struct zvx_log_drain *drain, zvx_log_severity, const struct iovec *vec, size_t count)
{
    const int fd = reinterpret_cast<struct zvx_log_drain_file *>(drain)->fd;
    if (fd >= 0) [[maybe_unused]]
        const ssize_t written = writev(fd, vec, static_cast<int>(count));
}
} // namespace

void zvx_log_construct(struct zvx_log *log)
{
    zvx_map_construct(&log->group, zvx_map_str_hash, zvx_map_str_equal, free_name, nullptr);
    zvx_map_construct(&log->drain, zvx_map_str_hash, zvx_map_str_equal, free_name, nullptr);
}

void zvx_log_destruct(struct zvx_log *log)
{
    zvx_map_destruct(&log->group);
    zvx_map_destruct(&log->drain);
}

void zvx_log_group_construct(struct zvx_log_group *group, const char *tag, zvx_log_severity severity,
                             struct zvx_log_drain *drain)
{
    group->tag = tag;
    group->severity = severity;
    group->drain = drain;
}

void zvx_log_group_destruct(struct zvx_log_group *) {}

void zvx_log_group_add(struct zvx_log *log, const char *name, struct zvx_log_group *group)
{
    char *key = copy_string(name);
    if (key == nullptr)
        return;
    zvx_log_group_configure(key, group, log);
    if (!zvx_map_insert(&log->group, key, group))
        zvx_mem_free(key);
}

bool zvx_log_group_configure(zvx_map_constpointer, zvx_map_pointer, void *)
{
    return false;
}

void zvx_log_drain_add(struct zvx_log *log, const char *name, struct zvx_log_drain *drain)
{
    char *key = copy_string(name);
    if (key != nullptr && !zvx_map_insert(&log->drain, key, drain))
        zvx_mem_free(key);
}

void zvx_log_configure(struct zvx_log *log, const char *str)
{
    // The hook answers false, which would end a plain foreach after the first group.
    zvx_map_foreach(
        &log->group,
        [](zvx_map_constpointer name, zvx_map_pointer group, void *log_arg) {
            zvx_log_group_configure(name, group, log_arg);
            return true;
        },
        log);
    if (str == nullptr)
        return;
    char *commands = copy_string(str);
    if (commands == nullptr)
        return;
    char *save = nullptr;
    for (char *command = strtok_r(commands, ";", &save); command != nullptr; command = strtok_r(nullptr, ";", &save))
        handle_config(log, command);
    zvx_mem_free(commands);
}

zvx_log_severity string_to_severity(const char *str)
{
    for (unsigned i = 0; i < ZVX_LOG_MAX; ++i) {
        if (strcasecmp(severity_to_name[i], str) == 0)
            return static_cast<zvx_log_severity>(i);
    }
    return ZVX_LOG_MAX;
}

void zvx_log_drain_construct(struct zvx_log_drain *drain, zvx_log_print_fptr print, zvx_log_data_fptr data)
{
    drain->print = print;
    drain->data = data;
}

void zvx_log_drain_destruct(struct zvx_log_drain *) {}

void zvx_log_drain_printf_construct(struct zvx_log_drain *drain)
{
    zvx_log_drain_construct(drain, printf_print, printf_data);
}

void zvx_log_drain_printf_destruct(struct zvx_log_drain *drain)
{
    zvx_log_drain_destruct(drain);
}

void zvx_log_drain_alog_construct(struct zvx_log_drain *drain)
{
    zvx_log_drain_construct(drain, alog_print, alog_data);
}

void zvx_log_drain_alog_destruct(struct zvx_log_drain *drain)
{
    zvx_log_drain_destruct(drain);
}

void zvx_log_drain_file_construct(struct zvx_log_drain_file *drain, const char *file)
{
    zvx_log_drain_construct(&drain->base, file_print, file_data);
    drain->fd = open(file, O_WRONLY | O_APPEND | O_CLOEXEC);
}

void zvx_log_drain_file_destruct(struct zvx_log_drain_file *drain)
{
    if (drain->fd >= 0)
        close(drain->fd);
    drain->fd = -1;
    zvx_log_drain_destruct(&drain->base);
}

const char *zvx_log_strrchr(const char *s)
{
    const char *slash = strrchr(s, '/');
    return slash != nullptr ? slash + 1 : s;
}

int vscnprintf(char *str, size_t size, const char *fmt, va_list args)
{
    const int length = vsnprintf(str, size, fmt, args);
    if (length < 0)
        return 0;
    return static_cast<size_t>(length) > size ? static_cast<int>(size) : length;
}

int scnprintf(char *str, size_t size, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int length = vscnprintf(str, size, fmt, args);
    va_end(args);
    return length;
}

extern "C" int __android_log_vprint(int prio, const char *tag, const char *fmt, va_list args)
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    struct tm local;
    localtime_r(&now.tv_sec, &local);
    const int last_priority = ANDROID_LOG_SILENT;
    const char *letter = priority_letter[prio < 0 ? 0 : prio > last_priority ? last_priority : prio];
    const int prefix =
        printf("%02d-%02d %02d:%02d:%02d.%03u %5u %5u %s %s: ", local.tm_mon + 1, local.tm_mday, local.tm_hour,
               local.tm_min, local.tm_sec, static_cast<unsigned>(now.tv_nsec / 1000000),
               static_cast<unsigned>(getpid()) % 65536u, static_cast<unsigned>(gettid()) % 65536u, letter, tag);
    const int message = vprintf(fmt, args);
    const int end = printf("\n");
    (void)fflush(stdout);
    return prefix + message + end;
}

extern "C" int __android_log_print(int prio, const char *tag, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int written = __android_log_vprint(prio, tag, fmt, args);
    va_end(args);
    return written;
}
