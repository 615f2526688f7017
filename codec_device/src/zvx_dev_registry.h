#ifndef ZVX_DEV_REGISTRY_H
#define ZVX_DEV_REGISTRY_H

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "zvx_dev_decoder_ahead.h"
#include "zvx_dev_device.h"
#include "zvx_dev_totals.h"
#include "zvx_codec_device.h"

namespace zvx_dev {

/* The process's devices by descriptor, between zvx_init_emulator and zvx_destroy_emulator. */
class Registry {
public:
    static Registry &instance();

    void start();
    /* Closes every device still open. */
    void stop();

    /* -1 while stopped, when the script says the node does not open, or when the device fails. */
    int open_device();
    void close_device(int fd);
    /* Null for a descriptor that is not an open device. */
    std::shared_ptr<Device> find(int fd);
    std::vector<int> descriptors();

    void set_default_script(const zvx_dev_script &script);
    Totals &totals() { return totals_; }

private:
    Totals totals_;
    DecoderAhead decoders_ahead_;
    std::mutex mutex_; /* guards the fields below */
    bool running_ = false;
    zvx_dev_script default_script_;
    std::map<int, std::shared_ptr<Device>> devices_;
    std::vector<int> opening_order_;
};

} // namespace zvx_dev

#endif
