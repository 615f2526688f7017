// Fuzzes session event dispatch on a decoder or an encoder. After the setup byte (zvx_omx_fuzz_component.h)
// the input is a run of events, each a little-endian 16-bit code and 16-bit size followed by that many
// payload bytes (zeros once the input ends). Each event lives in a record of exactly its header and
// payload, as the session hands it over, so a handler that reads more than the size says, whatever the
// code implies, reads past the record.
#include <cstdint>
#include <cstring>

#include "zvx_mem.h"
#include "zvx_omx_fuzz_component.h"

namespace {

/* Bounds the time one input takes. */
constexpr unsigned zvxp_max_events = 64;

uint16_t zvxp_read_u16(const uint8_t *bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    zvx_fuzz_log_formatted_and_dropped();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0 || zvx_fuzz_component_create(zvx_fuzz_setup_from(data[0])) == nullptr)
        return 0;
    size_t at = 1;
    for (unsigned events = 0; events < zvxp_max_events && size - at >= sizeof(zvx_base_event_header); ++events) {
        const uint16_t code = zvxp_read_u16(data + at);
        const uint16_t payload_size = zvxp_read_u16(data + at + 2);
        at += sizeof(zvx_base_event_header);
        auto *event =
            static_cast<zvx_base_event_header *>(zvx_mem_calloc(1, sizeof(zvx_base_event_header) + payload_size));
        if (event == nullptr)
            break;
        event->code = code;
        event->size = payload_size;
        const size_t given = payload_size < size - at ? payload_size : size - at;
        std::memcpy(event->data, data + at, given);
        at += given;
        zvx_fuzz_component_deliver(event);
        zvx_mem_free(event);
    }
    zvx_fuzz_component_destroy();
    return 0;
}
