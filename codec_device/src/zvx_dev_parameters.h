#ifndef ZVX_DEV_PARAMETERS_H
#define ZVX_DEV_PARAMETERS_H

#include <OMX_Core.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "zvx_dev_records.h"
#include "zvx_dev_stream.h"

namespace zvx_dev {

inline constexpr uint32_t INPUT_PORT = 0;
inline constexpr uint32_t OUTPUT_PORT = 1;

/* Records as the host set them, by index and port (the word after nSize and nVersion). Not locked:
 * its device's lock guards it. */
class ParameterStore {
public:
    OMX_ERRORTYPE set(uint32_t index, uint32_t size, const void *record);
    /* OMX_ErrorUnsupportedIndex for a record never set. */
    OMX_ERRORTYPE get(uint32_t index, uint32_t size, void *record) const;
    std::optional<zvx_dev_port_definition> port_definition(uint32_t port) const;
    /* The record of this index the host set last, whatever its port: a record in the host's own layout
     * (OMX_U32 as wide as its build makes it) has its port where this store does not look. */
    template <typename Record> std::optional<Record> latest(uint32_t index) const
    {
        const auto found = latest_.find(index);
        if (found == latest_.end() || found->second.size() < sizeof(Record))
            return std::nullopt;
        Record record;
        std::memcpy(&record, found->second.data(), sizeof(record));
        return record;
    }

private:
    std::map<std::pair<uint32_t, uint32_t>, std::vector<uint8_t>> records_;
    std::map<uint32_t, std::vector<uint8_t>> latest_;
};

/* What the session knows of its stream when the host asks. */
struct StreamFacts {
    bool decoder = true;
    std::optional<Announcement> announced;
    uint32_t buffers_needed = 0;
    bool reordering = false;
};

/* The host's definition with what the stream imposes: frame size, and for a decode's output port
 * the stride, slice height, buffer count and size its frames need. */
zvx_dev_port_definition answer_port_definition(const ParameterStore &store, uint32_t port, const StreamFacts &facts);
zvx_dev_sequence_parameters answer_sequence_parameters(uint32_t port, const StreamFacts &facts);
zvx_dev_port_format answer_port_format(const ParameterStore &store, uint32_t port, uint32_t format_index,
                                       const StreamFacts &facts);

} // namespace zvx_dev

#endif
