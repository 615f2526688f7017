#include "zvx_dev_decoder_ahead.h"

#include <system_error>

#include "zvx_av_decoder.h"

namespace zvx_dev {

DecoderAhead::~DecoderAhead()
{
    stop();
}

void DecoderAhead::prepare()
{
    std::lock_guard guard(mutex_);
    if (!last_decoded_ || opening_ == last_decoded_)
        return;
    drop_locked();
    const zvx_av::Codec codec = *last_decoded_;
    try {
        opener_ = std::thread([this, codec] { opened_ = zvx_av::open_decoder_ahead(codec); });
    } catch (const std::system_error &) {
        return;
    }
    opening_ = codec;
}

zvx_av::CodecContextPtr DecoderAhead::take(zvx_av::Codec codec)
{
    std::lock_guard guard(mutex_);
    last_decoded_ = codec;
    if (opening_ != codec)
        return nullptr;
    opener_.join();
    opening_.reset();
    return std::move(opened_);
}

void DecoderAhead::stop()
{
    std::lock_guard guard(mutex_);
    drop_locked();
}

void DecoderAhead::drop_locked()
{
    if (opener_.joinable())
        opener_.join();
    opening_.reset();
    opened_.reset();
}

} // namespace zvx_dev
