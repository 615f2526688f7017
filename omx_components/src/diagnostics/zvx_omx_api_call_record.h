#ifndef ZVX_OMX_API_CALL_RECORD_H
#define ZVX_OMX_API_CALL_RECORD_H

#include <OMX_Core.h>
#include <cstdint>
#include <cstring>

#include "zvx_session_interface.h"

/* Instrumentation of a client call: its code, the argument count, then each argument as its
 * size followed by its value. */
class zvx_omx_api_call_record {
public:
    zvx_omx_api_call_record(uint32_t code, uint32_t argument_count)
    {
        append(code);
        append(argument_count);
    }

    template <typename T> void append_argument(T value)
    {
        append(byte_size<T>);
        append(value);
    }

    void write() const { zvx_instr_write_msg(ZVX_INSTR_API_CALL, used_, bytes_); }

private:
    /* Large enough for the widest call recorded: four arguments, two of them pointers. */
    static constexpr uint32_t CAPACITY = 48;

    /* Arguments are often pointers: the record holds the pointer itself, never what it points to. */
    template <typename T> static constexpr uint32_t byte_size = sizeof(T);

    template <typename T> void append(T value)
    {
        static_assert(byte_size<T> <= sizeof(uint64_t));
        if (used_ + byte_size<T> <= CAPACITY) {
            std::memcpy(bytes_ + used_, &value, byte_size<T>);
            used_ += byte_size<T>;
        }
    }

    unsigned char bytes_[CAPACITY] = {};
    uint32_t used_ = 0;
};

#endif
