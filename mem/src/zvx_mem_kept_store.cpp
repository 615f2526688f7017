#include "zvx_mem_kept_store.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "zvx_mem.h"

namespace {

class store_lock {
public:
    explicit store_lock(pthread_mutex_t *lock) : lock_(lock) { pthread_mutex_lock(lock_); }
    store_lock(const store_lock &) = delete;
    store_lock &operator=(const store_lock &) = delete;
    ~store_lock() { pthread_mutex_unlock(lock_); }

private:
    pthread_mutex_t *lock_;
};

/* The block's first and last partial pages may hold the allocator's own records and are left alone. */
void release_pages_lazily(void *block, size_t size)
{
    const long page_size = sysconf(_SC_PAGESIZE);
    if (page_size <= 0)
        return;
    const auto page = static_cast<uintptr_t>(page_size);
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + page - 1) & ~(page - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + size) & ~(page - 1);
    if (end > begin)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_FREE);
}

} // namespace

void *zvx_mem_kept_store::take(size_t size)
{
    const store_lock guard(&lock_);
    for (size_t i = kept_count_; i-- != 0;) {
        if (kept_[i].size == size) {
            void *block = kept_[i].block;
            std::copy(kept_ + i + 1, kept_ + kept_count_, kept_ + i);
            --kept_count_;
            kept_bytes_ -= size;
            return block;
        }
    }
    return nullptr;
}

bool zvx_mem_kept_store::give(void *block, size_t size)
{
    if (block == nullptr)
        return false;
    bool kept = false;
    void *freed[MAX_BLOCKS + 1];
    size_t freed_count = 0;
    if (size <= max_bytes_ && max_blocks_ != 0) {
        // Before the block is kept: once it is, another thread may take it and write to it at once.
        if (release_ == page_release::lazily)
            release_pages_lazily(block, size);
        const store_lock guard(&lock_);
        if (!closed_) {
            // The newest blocks are the likeliest to serve the next user, so the oldest make room.
            while (kept_count_ == max_blocks_ || kept_bytes_ + size > max_bytes_) {
                freed[freed_count++] = kept_[0].block;
                kept_bytes_ -= kept_[0].size;
                std::copy(kept_ + 1, kept_ + kept_count_, kept_);
                --kept_count_;
            }
            kept_[kept_count_++] = kept_block{block, size};
            kept_bytes_ += size;
            kept = true;
        }
    }
    if (!kept)
        freed[freed_count++] = block;
    // Freed after the lock is dropped: unmapping a large block takes long enough to hold up other users.
    for (size_t i = 0; i < freed_count; ++i)
        zvx_mem_free(freed[i]);
    return kept;
}

void zvx_mem_kept_store::close()
{
    const store_lock guard(&lock_);
    closed_ = true;
    while (kept_count_ != 0)
        zvx_mem_free(kept_[--kept_count_].block);
    kept_bytes_ = 0;
}
