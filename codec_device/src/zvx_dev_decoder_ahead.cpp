#include "zvx_dev_decoder_ahead.h"

#include <system_error>

#include "zvx_av_decoder.h"

namespace zvx_dev {

DecoderAhead::~DecoderAhead()
{
    {
        std::lock_guard guard(mutex_);
        quitting_ = true;
    }
    changed_.notify_all();
    if (opener_.joinable())
        opener_.join();
}

void DecoderAhead::prepare()
{
    {
        std::lock_guard guard(mutex_);
        if (!last_decoded_ || wanted_ == last_decoded_)
            return;
        if (!opener_.joinable()) {
            try {
                opener_ = std::thread([this] { run(); });
            } catch (const std::system_error &) {
                return;
            }
        }
        wanted_ = last_decoded_;
    }
    changed_.notify_all();
}

zvx_av::CodecContextPtr DecoderAhead::take(zvx_av::Codec codec)
{
    Lock lock(mutex_);
    last_decoded_ = codec;
    if (wanted_ != codec)
        return nullptr;
    wait_for_open(lock);
    wanted_.reset();
    opened_codec_.reset();
    return std::move(opened_);
}

void DecoderAhead::stop()
{
    Lock lock(mutex_);
    wait_for_open(lock);
    wanted_.reset();
    opened_codec_.reset();
    const zvx_av::CodecContextPtr dropped = std::move(opened_);
    lock.unlock();
}

/* Until the wanted decoder is open, or its open has failed. */
void DecoderAhead::wait_for_open(Lock &lock)
{
    changed_.wait(lock, [this] { return !opening_ && (!wanted_ || opened_codec_ == wanted_); });
}

void DecoderAhead::run()
{
    Lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return quitting_ || (wanted_ && !opening_ && opened_codec_ != wanted_); });
        if (quitting_)
            return;
        const zvx_av::Codec codec = *wanted_;
        zvx_av::CodecContextPtr unwanted = std::move(opened_);
        opened_codec_.reset();
        opening_ = true;
        lock.unlock();
        unwanted.reset();
        zvx_av::CodecContextPtr opened = zvx_av::open_decoder_ahead(codec);
        lock.lock();
        opening_ = false;
        if (wanted_ == codec) {
            if (opened) {
                opened_ = std::move(opened);
                opened_codec_ = codec;
            } else {
                // The codec's decoder does not open: wanting it again would only fail again.
                wanted_.reset();
            }
        }
        changed_.notify_all();
        if (opened) {
            lock.unlock();
            opened.reset();
            lock.lock();
        }
    }
}

} // namespace zvx_dev
