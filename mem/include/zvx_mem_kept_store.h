#ifndef ZVX_MEM_KEPT_STORE_H
#define ZVX_MEM_KEPT_STORE_H

#include <pthread.h>

#include <cstddef>

/*
 * Freed zvx_mem blocks kept for reuse by exact size, so that a block's pages, once faulted in, serve the
 * next user of that size without faulting again. At most max_blocks blocks and max_bytes bytes are kept,
 * the newest first: a block given when the store is full frees the oldest. Both calls are safe from any
 * thread.
 *
 * Meant for static storage: constant-initialised and trivially destroyed, so that a block given back
 * after the store's closer ran (by a user left open at exit) is freed instead of touching a dead object.
 */
class zvx_mem_kept_store {
public:
    static constexpr size_t MAX_BLOCKS = 64;

    enum class page_release {
        /* The block's pages stay as they are: for blocks taken and given at a high rate. */
        never,
        /* The kernel may take the pages back under memory pressure (the block then reads as zeros): for
         * blocks kept for long. */
        lazily,
    };

    constexpr zvx_mem_kept_store(size_t max_blocks, size_t max_bytes, page_release release) noexcept
        : max_blocks_(max_blocks < MAX_BLOCKS ? max_blocks : MAX_BLOCKS), max_bytes_(max_bytes), release_(release)
    {
    }

    /* A kept block of exactly size bytes, or null. */
    void *take(size_t size);
    /* Takes a block of size bytes (null is accepted): kept, or freed when it alone exceeds the store or
     * the store is closed. True when kept. */
    bool give(void *block, size_t size);
    /* Frees what is kept; every later give frees its block. */
    void close();

private:
    struct kept_block {
        void *block;
        size_t size;
    };

    pthread_mutex_t lock_ = PTHREAD_MUTEX_INITIALIZER;
    kept_block kept_[MAX_BLOCKS] = {}; /* lock_ */
    size_t kept_count_ = 0;            /* lock_ */
    size_t kept_bytes_ = 0;            /* lock_ */
    bool closed_ = false;              /* lock_ */
    const size_t max_blocks_;
    const size_t max_bytes_;
    const page_release release_;
};

/* Closes a store at exit or unload, so that nothing kept outlives its library. */
class zvx_mem_kept_store_closer {
public:
    explicit constexpr zvx_mem_kept_store_closer(zvx_mem_kept_store &store) noexcept : store_(store) {}
    zvx_mem_kept_store_closer(const zvx_mem_kept_store_closer &) = delete;
    zvx_mem_kept_store_closer &operator=(const zvx_mem_kept_store_closer &) = delete;
    ~zvx_mem_kept_store_closer() { store_.close(); }

private:
    zvx_mem_kept_store &store_;
};

#endif
