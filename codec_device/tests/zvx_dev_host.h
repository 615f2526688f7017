#ifndef ZVX_DEV_HOST_H
#define ZVX_DEV_HOST_H

/* A test's stand-in for the component: one device driven through the session functions. */

#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "zvx_dev_records.h"
#include "zvx_mem.h"
#include "zvx_codec_device.h"

struct DeviceEvent {
    uint16_t code = 0;
    std::vector<uint8_t> payload;

    template <typename T> T as() const
    {
        T value{};
        std::memcpy(&value, payload.data(), std::min(payload.size(), sizeof(T)));
        return value;
    }
    zvx_base_buffer_userspace buffer() const { return as<zvx_base_buffer_userspace>(); }
};

/* Each test starts with the devices running and leaves none open. */
class EmulatorTest : public ::testing::Test {
protected:
    void SetUp() override { zvx_init_emulator(); }
    void TearDown() override { zvx_destroy_emulator(); }
};

class DeviceHost {
public:
    static constexpr int WAIT_MS = 5000;

    explicit DeviceHost(const char *role, const zvx_dev_script &script = {})
    {
        fd = zvx_init("/dev/kdev0");
        if (fd == -1)
            return;
        zvx_dev_set_script(fd, script);
        session = zvx_create_session(fd, role) == OMX_TRUE && zvx_activate_session(fd, role, nullptr) == OMX_TRUE;
    }
    DeviceHost(const DeviceHost &) = delete;
    DeviceHost &operator=(const DeviceHost &) = delete;
    ~DeviceHost()
    {
        if (fd != -1)
            zvx_close(fd);
    }

    void set_port(uint32_t port, uint32_t width, uint32_t height, uint32_t color_format, uint32_t buffer_count = 2,
                  uint32_t frame_rate_q16 = 0)
    {
        zvx_dev_port_definition definition{};
        definition.nSize = sizeof(definition);
        definition.nVersion = ZVX_DEV_VERSION_1_2;
        definition.nPortIndex = port;
        definition.eDir = port;
        definition.nBufferCountActual = buffer_count;
        definition.nBufferCountMin = buffer_count;
        definition.nFrameWidth = width;
        definition.nFrameHeight = height;
        definition.nStride = width;
        definition.nSliceHeight = height;
        definition.eColorFormat = color_format;
        definition.xFramerate = frame_rate_q16;
        zvx_set_parameter(fd, OMX_IndexParamPortDefinition, sizeof(definition), &definition);
    }

    /* Registers a new buffer of `size` bytes and returns its id (its index among this host's buffers + 1);
     * a frame buffer may say its stride and rows. */
    zvx_base_buffer_handle_t add_buffer(uint32_t port, uint32_t size, uint32_t stride = 0, uint32_t height = 0)
    {
        memory.push_back(std::make_unique<std::vector<uint8_t>>(size, 0));
        zvx_base_buffer_userspace descriptor{};
        descriptor.buffer_id = memory.size();
        descriptor.handle = reinterpret_cast<zvx_base_buffer_handle_t>(memory.back()->data());
        descriptor.allocator = ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC;
        descriptor.size = size;
        descriptor.stride = stride;
        descriptor.height = height;
        last_error = zvx_register_buffer(fd, port, &descriptor);
        return descriptor.buffer_id;
    }
    const uint8_t *data(zvx_base_buffer_handle_t id) const { return memory.at(id - 1)->data(); }

    OMX_ERRORTYPE queue(uint32_t port, zvx_base_buffer_handle_t id, uint32_t filled = 0, uint32_t flags = 0,
                        uint64_t timestamp = 0)
    {
        zvx_base_buffer_details details{};
        details.buffer_id = id;
        details.filled_len = filled;
        details.flags = flags;
        details.timestamp = timestamp;
        return port == 0 ? zvx_empty_this_buffer(fd, &details) : zvx_fill_this_buffer(fd, &details);
    }

    /* A port's record as the device answers it. */
    template <typename Record> Record parameter(uint32_t index, uint32_t port = 1) const
    {
        Record record{};
        record.nPortIndex = port;
        EXPECT_EQ(zvx_get_parameter(fd, static_cast<OMX_INDEXTYPE>(index), sizeof(record), &record), OMX_ErrorNone);
        return record;
    }

    bool readable(int timeout_ms) const
    {
        pollfd watched = {fd, POLLIN, 0};
        return poll(&watched, 1, timeout_ms) == 1 && (watched.revents & POLLIN) != 0;
    }

    /* Waits for the descriptor as the component's command thread does; code 0xFFFF when none came. */
    DeviceEvent next(int timeout_ms = WAIT_MS)
    {
        DeviceEvent event;
        event.code = 0xFFFF;
        if (!readable(timeout_ms))
            return event;
        zvx_base_event_header *header = zvx_get_event(fd, 10);
        if (header == nullptr)
            return event;
        event.code = header->code;
        event.payload.assign(header->data, header->data + header->size);
        zvx_mem_free(header);
        return event;
    }

    DeviceEvent expect(uint16_t code)
    {
        DeviceEvent event = next();
        EXPECT_EQ(event.code, code);
        return event;
    }

    void run()
    {
        zvx_enqueue_state_change(fd, ZVX_BASE_HW_STATE_RUNNING);
        EXPECT_EQ(expect(ZVX_BASE_EVENT_STATE_CHANGED).as<int32_t>(), ZVX_BASE_HW_STATE_RUNNING);
    }

    zvx_dev_stats stats() const
    {
        zvx_dev_stats stats{};
        zvx_dev_get_stats(fd, &stats);
        return stats;
    }

    int fd = -1;
    bool session = false;
    OMX_ERRORTYPE last_error = OMX_ErrorNone;
    std::vector<std::unique_ptr<std::vector<uint8_t>>> memory;
};

#endif
