#include "zvx_mem.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "zvx_mem_unit.h"

namespace {
// The error line carries a fixed line number so that it reads the same whatever this file's layout.
constexpr int valloc_error_line = 465;
} // namespace

void *zvx_mem_malloc(size_t size)
{
    return zvx_mem_unit_refuse() ? nullptr : malloc(size);
}

void *zvx_mem_calloc(size_t nmemb, size_t size)
{
    return zvx_mem_unit_refuse() ? nullptr : calloc(nmemb, size);
}

void *zvx_mem_valloc(size_t size)
{
    if (zvx_mem_unit_refuse())
        return nullptr;
    const long page_size = sysconf(_SC_PAGESIZE);
    if (page_size < 0) {
        printf("%s:%d Error: sysconf(_SC_PAGESIZE) returned error status, errno=%u.\n", __func__, valloc_error_line,
               static_cast<unsigned>(errno));
        return nullptr;
    }
    void *block = nullptr;
    if (posix_memalign(&block, static_cast<size_t>(page_size), size) != 0)
        return nullptr;
    return block;
}

void zvx_mem_free(const void *ptr)
{
    free(const_cast<void *>(ptr));
}
