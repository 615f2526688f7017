#include "zvx_av_decoder.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "zvx_av_frame_memory.h"

extern "C" {
#include <libavutil/cpu.h>
}

namespace zvx_av {

namespace {

/* Parsers that find access-unit boundaries in an arbitrary byte stream; the vp8, vp9 and rv ones
 * only read headers of frames they are handed whole. */
bool parser_finds_frames(Codec codec)
{
    switch (codec) {
    case Codec::avc:
    case Codec::hevc:
    case Codec::mpeg2:
    case Codec::mpeg4:
    case Codec::h263:
    case Codec::vc1:
        return true;
    default:
        return false;
    }
}

/* A context of the decoder's codec and extradata, never opened. */
CodecContextPtr make_parser_context(const AVCodec &decoder, const std::vector<uint8_t> &extradata)
{
    CodecContextPtr context(avcodec_alloc_context3(nullptr));
    if (!context)
        return nullptr;
    context->codec_type = AVMEDIA_TYPE_VIDEO;
    context->codec_id = decoder.id;
    if (!extradata.empty()) {
        context->extradata = static_cast<uint8_t *>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!context->extradata)
            return nullptr;
        std::memcpy(context->extradata, extradata.data(), extradata.size());
        context->extradata_size = static_cast<int>(extradata.size());
    }
    return context;
}

/* Parsers may read past the bytes they are handed, as decoders do. */
void copy_padded(std::span<const uint8_t> data, std::vector<uint8_t> &buffer)
{
    buffer.assign(data.begin(), data.end());
    buffer.resize(data.size() + AV_INPUT_BUFFER_PADDING_SIZE, 0);
}

constexpr size_t PARSE_STEP = 1u << 20;

/* Whether avc or hevc configuration in start-code form also holds a picture: a unit of a slice
 * (avc types 1 to 5, hevc types below 32) after one of its start codes. Parameter sets alone stay
 * configuration: a decoder refuses a packet without a picture. */
bool config_holds_picture(Codec codec, std::span<const uint8_t> data)
{
    if (codec != Codec::avc && codec != Codec::hevc)
        return false;
    for (size_t at = 0; at + 3 < data.size(); ++at) {
        if (data[at] != 0 || data[at + 1] != 0 || data[at + 2] != 1)
            continue;
        const uint8_t header = data[at + 3];
        const int type = codec == Codec::avc ? header & 0x1f : (header >> 1) & 0x3f;
        if (codec == Codec::avc ? type >= 1 && type <= 5 : type < 32)
            return true;
        at += 2;
    }
    return false;
}

/* Decoders of this process with a stream under way; any thread. */
std::atomic<int> decoders_under_way{0};

/* One thread a core, as desktop players decode (libavcodec's own default adds one, and with it one more
 * picture in flight before the first comes out, after a start or a flush), the cores shared among the
 * streams under way: with more threads than cores, the frame threads' hand-offs cost more pictures than
 * their overlap gains. */
int threads_among(int decoders)
{
    return std::max(1, av_cpu_count() / std::max(1, decoders));
}

Status open_context(const AVCodec &decoder, int thread_count, const std::vector<uint8_t> &extradata,
                    CodecContextPtr &opened)
{
    CodecContextPtr context(avcodec_alloc_context3(&decoder));
    if (!context)
        return Status(AVERROR(ENOMEM));
    context->thread_count = thread_count;
    context->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    // The crop is reported with each picture and applied exactly when it is received: libav's own
    // cropping keeps the left edge aligned and so may leave part of it.
    context->apply_cropping = 0;
    context->pkt_timebase = microseconds;
    context->get_buffer2 = get_kept_frame_buffer;
#if FF_API_THREAD_SAFE_CALLBACKS
    // The callback is safe from any thread: unmarked, libavcodec before 60 has each frame thread ask the
    // caller's thread for its buffers, a round trip a picture.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    context->thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
    if (!extradata.empty()) {
        context->extradata = static_cast<uint8_t *>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!context->extradata)
            return Status(AVERROR(ENOMEM));
        std::memcpy(context->extradata, extradata.data(), extradata.size());
        context->extradata_size = static_cast<int>(extradata.size());
    }
    const int status = avcodec_open2(context.get(), &decoder, nullptr);
    if (status < 0)
        return Status(status);
    opened = std::move(context);
    return Status();
}

} // namespace

CodecContextPtr open_decoder_ahead(Codec codec)
{
    const AVCodec *decoder = find_decoder(codec);
    CodecContextPtr opened;
    if (decoder != nullptr)
        (void)open_context(*decoder, threads_among(decoders_under_way + 1), {}, opened);
    return opened;
}

Decoder::~Decoder()
{
    set_under_way(false);
}

void Decoder::set_under_way(bool under_way)
{
    if (under_way != under_way_)
        decoders_under_way += under_way ? 1 : -1;
    under_way_ = under_way;
}

Status Decoder::open(Codec codec, const DecoderSettings &settings)
{
    codec_ = codec;
    settings_ = settings;
    context_.reset();
    set_under_way(false);
    parser_.reset();
    pictures_.clear();
    access_unit_.clear();
    extradata_ = settings.codec_config;
    opened_ahead_.reset();
    mode_ = Mode::undecided;
    data_sent_ = false;
    context_state_ = ContextState::live;
    decoder_ = find_decoder(codec, settings.stream_codec_id);
    if (!decoder_)
        return Status(AVERROR_DECODER_NOT_FOUND);
    packet_ = make_packet();
    return Status(packet_ ? 0 : AVERROR(ENOMEM));
}

void Decoder::use_opened_ahead(CodecContextPtr opened)
{
    if (opened && decoder_ != nullptr && opened->codec == decoder_ && settings_.thread_count == 0 &&
        settings_.stream_codec_id == AV_CODEC_ID_NONE)
        opened_ahead_ = std::move(opened);
}

/* Opened at the stream's first data, so that configuration sent as buffers of its own before it
 * becomes extradata, which some decoders (vc1) cannot open without. */
Status Decoder::start()
{
    set_under_way(true);
    const int thread_count = settings_.thread_count != 0 ? settings_.thread_count : threads_among(decoders_under_way);
    CodecContextPtr context = std::move(opened_ahead_);
    // A context that decodes on the caller's thread alone (a codec without threads) serves any count.
    if (!context || !extradata_.empty() ||
        (context->thread_count != thread_count && context->active_thread_type != 0)) {
        context.reset();
        const Status opened = open_context(*decoder_, thread_count, extradata_, context);
        if (!opened.ok())
            return opened;
    }
    context_ = std::move(context);
    context_state_ = ContextState::live;
    return reset_parser();
}

/* The parser gets a context of its own, as libavformat gives it one: parsers write what they find
 * (dimensions) into theirs, which the decoder's frame threads would otherwise pick up half-made. */
Status Decoder::reset_parser()
{
    parser_.reset(av_parser_init(decoder_->id));
    parser_backlog_ = 0;
    if (!parser_)
        return Status();
    parser_context_ = make_parser_context(*decoder_, extradata_);
    if (parser_context_)
        return Status();
    parser_.reset();
    return Status(AVERROR(ENOMEM));
}

Decoder::Mode Decoder::mode_for(const DecoderInput &input) const
{
    if (settings_.framing == InputFraming::access_units)
        return Mode::access_units;
    const bool parser_can_frame = parser_ && parser_finds_frames(codec_);
    if (settings_.framing == InputFraming::chunks)
        return parser_can_frame ? Mode::chunks : Mode::buffers;
    if (input.end_of_frame)
        return Mode::access_units;
    return parser_can_frame ? Mode::chunks : Mode::buffers;
}

Status Decoder::send(const DecoderInput &input)
{
    if (!packet_)
        return Status(AVERROR(EINVAL));
    if (input.codec_config && config_holds_picture(codec_, input.data)) {
        DecoderInput as_data = input;
        as_data.codec_config = false;
        return send(as_data);
    }
    if (input.codec_config && !data_sent_) {
        if (extradata_.size() + input.data.size() > max_access_unit_bytes)
            return Status(AVERROR_INVALIDDATA);
        extradata_.insert(extradata_.end(), input.data.begin(), input.data.end());
        context_.reset();
        return Status();
    }
    // An empty buffer can still end an access unit sent in pieces before it.
    if (input.data.empty() && !(input.end_of_frame && !access_unit_.empty()))
        return Status();
    if (!context_) {
        const Status started = start();
        if (!started.ok())
            return started;
    }
    make_context_live();
    data_sent_ = true;
    if (mode_ == Mode::undecided && !input.codec_config) {
        mode_ = mode_for(input);
        // Configuration that came after a flush, held for the first access unit, goes to the parser.
        if (mode_ == Mode::chunks && !access_unit_.empty()) {
            const Status parsed = parse(access_unit_, no_timestamp);
            access_unit_.clear();
            if (!parsed.ok())
                return parsed;
        }
    }
    if (mode_ == Mode::chunks)
        return parse(input.data, input.codec_config ? no_timestamp : input.timestamp_us);
    return send_access_unit_piece(input);
}

Status Decoder::send_access_unit_piece(const DecoderInput &input)
{
    if (access_unit_.size() + input.data.size() > max_access_unit_bytes) {
        access_unit_.clear();
        return Status(AVERROR_INVALIDDATA);
    }
    if (!input.codec_config && access_unit_timestamp_us_ == no_timestamp)
        access_unit_timestamp_us_ = input.timestamp_us;
    access_unit_.insert(access_unit_.end(), input.data.begin(), input.data.end());
    if (input.codec_config || (!input.end_of_frame && mode_ != Mode::buffers))
        return Status();
    const Status decoded = decode(access_unit_, access_unit_timestamp_us_);
    access_unit_.clear();
    access_unit_timestamp_us_ = no_timestamp;
    return decoded;
}

Status Decoder::parse(std::span<const uint8_t> data, int64_t timestamp_us)
{
    Status result;
    while (!data.empty()) {
        const std::span<const uint8_t> step = data.first(std::min(data.size(), PARSE_STEP));
        copy_padded(step, parse_buffer_);
        const uint8_t *at = parse_buffer_.data();
        int left = static_cast<int>(step.size());
        while (left > 0) {
            uint8_t *unit = nullptr;
            int unit_size = 0;
            const int used = av_parser_parse2(parser_.get(), parser_context_.get(), &unit, &unit_size, at, left,
                                              timestamp_us, no_timestamp, 0);
            if (used < 0)
                return Status(used);
            at += used;
            left -= used;
            parser_backlog_ += static_cast<size_t>(used);
            if (unit_size > 0) {
                parser_backlog_ = 0;
                const Status decoded = decode({unit, static_cast<size_t>(unit_size)}, parser_->pts);
                if (result.ok())
                    result = decoded;
            } else if (parser_backlog_ > max_access_unit_bytes) {
                // What the parser holds goes: no access unit is that large.
                const Status reset = reset_parser();
                return reset.ok() ? Status(AVERROR_INVALIDDATA) : reset;
            }
        }
        data = data.subspan(step.size());
    }
    return result;
}

Status Decoder::drain_parser()
{
    Status result;
    for (;;) {
        uint8_t *unit = nullptr;
        int unit_size = 0;
        av_parser_parse2(parser_.get(), parser_context_.get(), &unit, &unit_size, nullptr, 0, no_timestamp,
                         no_timestamp, 0);
        if (unit_size <= 0)
            break;
        const Status decoded = decode({unit, static_cast<size_t>(unit_size)}, parser_->pts);
        if (result.ok())
            result = decoded;
    }
    parser_backlog_ = 0;
    return result;
}

Status Decoder::decode(std::span<const uint8_t> data, int64_t timestamp_us)
{
    const int allocated = av_new_packet(packet_.get(), static_cast<int>(data.size()));
    if (allocated < 0)
        return Status(allocated);
    std::memcpy(packet_->data, data.data(), data.size());
    packet_->pts = timestamp_us;
    int sent = avcodec_send_packet(context_.get(), packet_.get());
    Status result;
    if (sent == AVERROR(EAGAIN)) {
        // Output is full: take it, then the packet goes in.
        result = collect_pictures();
        sent = avcodec_send_packet(context_.get(), packet_.get());
    }
    av_packet_unref(packet_.get());
    const Status collected = collect_pictures();
    if (sent < 0)
        return Status(sent);
    return result.ok() ? collected : result;
}

Status Decoder::collect_pictures()
{
    for (;;) {
        FramePtr frame = make_frame();
        if (!frame)
            return Status(AVERROR(ENOMEM));
        const int received = avcodec_receive_frame(context_.get(), frame.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return Status();
        if (received < 0)
            return Status(received);
        DecodedPicture picture;
        picture.format = describe_picture(*frame);
        picture.timestamp_us = frame->pts != no_timestamp ? frame->pts : frame->best_effort_timestamp;
        if (av_frame_apply_cropping(frame.get(), AV_FRAME_CROP_UNALIGNED) < 0)
            continue; // a crop outside the picture: drop it rather than show garbage
        picture.frame = std::move(frame);
        pictures_.push_back(std::move(picture));
    }
}

Status Decoder::end_stream()
{
    if (!context_)
        return Status();
    if (context_state_ == ContextState::stale)
        make_context_live();
    Status result;
    if (mode_ == Mode::chunks) {
        result = drain_parser();
    } else if (!access_unit_.empty()) {
        result = decode(access_unit_, access_unit_timestamp_us_);
        access_unit_.clear();
        access_unit_timestamp_us_ = no_timestamp;
    }
    if (context_state_ == ContextState::live) {
        // With frame threads, the drain's send answers for the first unit still held.
        const int sent = avcodec_send_packet(context_.get(), nullptr);
        if (sent < 0 && sent != AVERROR_EOF && result.ok())
            result = Status(sent);
        context_state_ = ContextState::drained;
    }
    // Every error spoils one picture; the drain ends at the decoder's end of stream.
    for (;;) {
        const Status collected = collect_pictures();
        if (collected.ok())
            break;
        if (result.ok())
            result = collected;
    }
    return result;
}

void Decoder::flush()
{
    if (context_) {
        // libavcodec's own flush waits for the pictures the frame threads have under way: done before the
        // next data instead, the caller does not wait for them, and they have had the meantime.
        context_state_ = ContextState::stale;
        // Out of memory, the stream goes on without a parser, as access units.
        (void)reset_parser();
    }
    access_unit_.clear();
    access_unit_timestamp_us_ = no_timestamp;
    pictures_.clear();
    mode_ = Mode::undecided;
}

void Decoder::make_context_live()
{
    if (context_state_ != ContextState::live) {
        avcodec_flush_buffers(context_.get());
        context_state_ = ContextState::live;
    }
}

std::optional<DecodedPicture> Decoder::receive()
{
    if (pictures_.empty())
        return std::nullopt;
    DecodedPicture picture = std::move(pictures_.front());
    pictures_.pop_front();
    return picture;
}

std::optional<PictureShape> Decoder::stream_shape() const
{
    if (!context_)
        return std::nullopt;
    return describe_stream(*context_);
}

int Decoder::threads() const
{
    return context_ ? context_->thread_count : 0;
}

FramesHeld Decoder::frames_held() const
{
    if (context_)
        return zvx_av::frames_held(codec_, *context_);
    static const AVCodecContext unopened{};
    return zvx_av::frames_held(codec_, unopened);
}

} // namespace zvx_av
