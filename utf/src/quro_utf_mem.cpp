// Grow-only pools: requests are carved from the current block; nothing is freed before the pool.
#include <stdint.h>

#include <atomic>

#include "quro_utf.h"

namespace {

constexpr size_t kAlignment = 16;

constexpr size_t quro_utfp_round_up(size_t size)
{
    return (size + (kAlignment - 1)) & ~(kAlignment - 1);
}

constexpr size_t kHeaderSize = quro_utfp_round_up(sizeof(quro_utf_mempool_block));

// Each new block doubles the last, up to this size, so that a pool holding thousands of records
// asks for few blocks; blocks from this size on are prefaulted in one go rather than a page fault
// per first write, which dominates the cost of registering and running many small tests.
constexpr size_t kLargestGrownBlock = size_t{1} << 20;
constexpr size_t kPrefaultFrom = size_t{64} << 10;

// The current block is read without the lock to refuse pools that were destroyed or never set up.
std::atomic_ref<quro_utf_mempool_block *> quro_utfp_current_block(quro_utf_mempool *pool)
{
    return std::atomic_ref<quro_utf_mempool_block *>(pool->last_block);
}

// Usable sizes are kept multiples of the alignment so that every carved address stays aligned.
quro_utf_mempool_block *quro_utfp_new_block(size_t usable)
{
    if (usable > SIZE_MAX - kHeaderSize - kAlignment) {
        return nullptr;
    }
    usable = quro_utfp_round_up(usable);
    const size_t total = kHeaderSize + usable;
    auto *block = static_cast<quro_utf_mempool_block *>(quro_tpi_alloc(total));
    if (block == nullptr) {
        return nullptr;
    }
    block->previous_block = nullptr;
    block->size = usable;
    block->space_used = 0;
    block->allocated = total;
    block->data = reinterpret_cast<char *>(block) + kHeaderSize;
    if (usable >= kPrefaultFrom) {
        quro_tpi_prefault(block->data, usable);
    }
    return block;
}

void *quro_utfp_carve(quro_utf_mempool_block *block, size_t size)
{
    void *memory = block->data + block->space_used;
    block->space_used += quro_utfp_round_up(size);
    return memory;
}

void *quro_utfp_alloc_locked(quro_utf_mempool *pool, size_t size)
{
    quro_utf_mempool_block *current = pool->last_block;
    pool->allocations++;
    if (pool->max_allocations >= 0 && pool->allocations >= static_cast<unsigned>(pool->max_allocations)) {
        return nullptr;
    }
    if (size <= current->size - current->space_used) {
        return quro_utfp_carve(current, size);
    }
    // Small requests start a new current block; only if the old one was put to real use, otherwise a
    // large request would waste it.
    if (size <= pool->block_size && size <= current->space_used) {
        const size_t grown = current->size < kLargestGrownBlock / 2 ? 2 * current->size : kLargestGrownBlock;
        quro_utf_mempool_block *block = quro_utfp_new_block(grown > pool->block_size ? grown : pool->block_size);
        if (block == nullptr) {
            return nullptr;
        }
        block->previous_block = current;
        quro_utfp_current_block(pool).store(block, std::memory_order_release);
        return quro_utfp_carve(block, size);
    }
    // A dedicated block behind the current one keeps the current block's free space in service.
    quro_utf_mempool_block *block = quro_utfp_new_block(size);
    if (block == nullptr) {
        return nullptr;
    }
    block->space_used = block->size;
    block->previous_block = current->previous_block;
    current->previous_block = block;
    return block->data;
}

} // namespace

quro_utf_memerr quro_utf_mempool_init(quro_utf_mempool *pool, size_t block_size)
{
    if (pool == nullptr) {
        return QURO_UTF_MEM_ERROR;
    }
    pool->block_size = block_size == 0 ? QURO_UTF_MEMPOOL_DEFAULT_BLOCK_SIZE : block_size;
    pool->allocations = 0;
    pool->max_allocations = -1;
    pool->last_block = quro_utfp_new_block(pool->block_size);
    if (pool->last_block == nullptr) {
        return QURO_UTF_MEM_ERROR;
    }
    if (!quro_tpi_mutex_init(&pool->pool_lock)) {
        quro_tpi_free(pool->last_block);
        pool->last_block = nullptr;
        return QURO_UTF_MEM_ERROR;
    }
    return QURO_UTF_MEM_OK;
}

void *quro_utf_mempool_alloc(quro_utf_mempool *pool, size_t size)
{
    if (quro_utfp_current_block(pool).load(std::memory_order_acquire) == nullptr) {
        return nullptr;
    }
    quro_tpi_mutex_lock(&pool->pool_lock);
    void *memory = quro_utfp_alloc_locked(pool, size);
    quro_tpi_mutex_unlock(&pool->pool_lock);
    return memory;
}

quro_utf_memerr quro_utf_mempool_destroy(quro_utf_mempool *pool)
{
    if (pool == nullptr) {
        return QURO_UTF_MEM_OK;
    }
    if (pool->last_block == nullptr) {
        return QURO_UTF_MEM_ERROR;
    }
    quro_tpi_mutex_lock(&pool->pool_lock);
    quro_utf_mempool_block *block = quro_utfp_current_block(pool).exchange(nullptr, std::memory_order_acq_rel);
    while (block != nullptr) {
        quro_utf_mempool_block *previous = block->previous_block;
        quro_tpi_free(block);
        block = previous;
    }
    quro_tpi_mutex_unlock(&pool->pool_lock);
    quro_tpi_mutex_term(&pool->pool_lock);
    return QURO_UTF_MEM_OK;
}
