// Fuzzes SetParameter through the handle of a decoder or an encoder. After the setup byte
// (zvx_omx_fuzz_component.h) the input is a run of client records, each:
//   flags (1 byte): bit 0 read the record back with GetParameter, bit 1 pass no record at all, bit 2 the
//     index is 4 raw bytes (its top bit dropped), otherwise 1 byte choosing an entry of the component's
//     own index table;
//   the index; nSize, nVersion and nPortIndex (4 little-endian bytes each);
//   a 16-bit body length and the body, which follows nPortIndex.
// The record lives in a block of exactly nSize bytes (at least its 12-byte head, at most 4 KiB, more
// than any record the component knows), so a component that reads beyond what the client said it gave
// reads past the block. A session created at the end is told every setting that was taken.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "settings/zvx_omx_parameter_table.h"
#include "zvx_omx_fuzz_component.h"
#include "zvx_omx_session.h"

namespace {

constexpr unsigned zvxp_max_records = 8;
constexpr size_t zvxp_head_size = 12;
constexpr size_t zvxp_max_block = 4096;

/* Reads the input from the front; past its end every byte reads as 0. */
class zvxp_input {
public:
    zvxp_input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
    bool empty() const { return at_ >= size_; }
    /* Up to 4 bytes, little-endian. */
    uint32_t take(size_t bytes)
    {
        uint32_t value = 0;
        for (size_t i = 0; i < bytes; ++i, ++at_)
            value |= static_cast<uint32_t>(at_ < size_ ? data_[at_] : 0) << (8 * i);
        return value;
    }
    /* Copies up to `bytes` of the input into `to` (zeroed beyond the input) and moves past them. */
    void copy(uint8_t *to, size_t bytes)
    {
        const size_t given = empty() ? 0 : std::min(bytes, size_ - at_);
        std::memcpy(to, data_ + at_, given);
        std::memset(to + given, 0, bytes - given);
        at_ += bytes;
    }
    void skip(size_t bytes) { at_ += bytes; }

private:
    const uint8_t *data_;
    size_t size_;
    size_t at_ = 0;
};

OMX_INDEXTYPE zvxp_index(zvxp_input &input, bool raw)
{
    /* OMX_INDEXTYPE ends at OMX_IndexMax, 0x7FFFFFFF: no value above it is an index. */
    if (raw)
        return static_cast<OMX_INDEXTYPE>(input.take(4) & OMX_IndexMax);
    const auto entries = zvx_omx_parameter_entries();
    return entries[input.take(1) % entries.size()].index;
}

void zvxp_set_one(OMX_COMPONENTTYPE *omx, zvxp_input &input)
{
    const uint32_t flags = input.take(1);
    const OMX_INDEXTYPE index = zvxp_index(input, (flags & 4) != 0);
    const uint32_t head[3] = {input.take(4), input.take(4), input.take(4)};
    const size_t body_size = input.take(2);
    const size_t block_size = std::clamp<size_t>(head[0], zvxp_head_size, zvxp_max_block);
    std::unique_ptr<uint8_t[]> block(new uint8_t[block_size]);
    std::memcpy(block.get(), head, sizeof(head));
    const size_t body_kept = std::min(body_size, block_size - zvxp_head_size);
    input.copy(block.get() + zvxp_head_size, body_kept);
    std::memset(block.get() + zvxp_head_size + body_kept, 0, block_size - zvxp_head_size - body_kept);
    input.skip(body_size - body_kept);

    OMX_PTR record = (flags & 2) != 0 ? nullptr : block.get();
    omx->SetParameter(omx, index, record);
    if ((flags & 1) != 0)
        omx->GetParameter(omx, index, record);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    zvx_fuzz_log_formatted_and_dropped();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    OMX_COMPONENTTYPE *omx = zvx_fuzz_component_create(zvx_fuzz_setup_from(data[0]));
    if (omx == nullptr)
        return 0;
    zvxp_input input(data + 1, size - 1);
    for (unsigned records = 0; records < zvxp_max_records && !input.empty(); ++records)
        zvxp_set_one(omx, input);
    zvx_omx_common_component *comp = zvx_fuzz_component_record();
    if (!comp->session_created)
        zvx_omx_common_component_create_session(comp);
    zvx_fuzz_component_destroy();
    return 0;
}
