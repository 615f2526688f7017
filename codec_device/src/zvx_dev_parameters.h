#ifndef ZVX_DEV_PARAMETERS_H
#define ZVX_DEV_PARAMETERS_H

#include <OMX_Core.h>

#include <cstdint>
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

private:
    std::map<std::pair<uint32_t, uint32_t>, std::vector<uint8_t>> records_;
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
