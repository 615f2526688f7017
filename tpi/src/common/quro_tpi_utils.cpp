// Formatted output: the C library formats, the platform layer adds the locking guarantees.
#include "quro_tpi.h"

int quro_tpi_vsnprintf(char *buffer, size_t size, const char *format, va_list arguments)
{
    return vsnprintf(buffer, size, format, arguments);
}

int quro_tpi_snprintf(char *buffer, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = quro_tpi_vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

int quro_tpi_vfprintf(quro_tpi_file *file, const char *format, va_list arguments)
{
    // One lock over the whole text, so lines of concurrent writers never mix within a call.
    flockfile(file);
    const int length = vfprintf(file, format, arguments);
    funlockfile(file);
    return length;
}

int quro_tpi_fprintf(quro_tpi_file *file, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = quro_tpi_vfprintf(file, format, arguments);
    va_end(arguments);
    return length;
}

int quro_tpi_printf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = quro_tpi_vfprintf(quro_tpi_stdout(), format, arguments);
    va_end(arguments);
    return length;
}

int quro_tpi_puts(const char *text)
{
    quro_tpi_file *out = quro_tpi_stdout();
    const int written = quro_tpi_fputs(text, out);
    quro_tpi_fflush(out);
    return written;
}
