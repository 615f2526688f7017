// Buffer memory kept across components, for the process's lifetime.
#include "zvx_omx_buffer_memory_store.h"

#include "zvx_mem_kept_store.h"

namespace {

// Buffers live as long as their component, so their pages may go back to the kernel while kept.
constinit zvx_mem_kept_store zvxp_store(ZVX_OMX_BUFFER_MEMORY_STORE_BLOCKS, ZVX_OMX_BUFFER_MEMORY_STORE_BYTES,
                                        zvx_mem_kept_store::page_release::lazily);
const zvx_mem_kept_store_closer zvxp_closer(zvxp_store);

} // namespace

void *zvx_omx_buffer_memory_store_take(uint32_t size)
{
    return zvxp_store.take(size);
}

bool zvx_omx_buffer_memory_store_give(void *block, uint32_t size)
{
    return zvxp_store.give(block, size);
}
