// Buffers through the handle as clients use and misuse them, the session's returns played as events.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <cstdlib>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "zvx_omx_config.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_test_client.h"

namespace {

std::atomic<int> zvxp_queued_to_session;

void zvxp_count_queued(int, struct zvx_base_buffer_details *)
{
    ++zvxp_queued_to_session;
}

using headers = std::vector<OMX_BUFFERHEADERTYPE *>;

/* The session's flush: the port's buffers back empty, then the flushed event, in one command. */
struct zvxp_flush_answer {
    zvx_omx_common_cproc_command_data head;
    OMX_U32 port;
    size_t count;
    zvx_base_buffer_userspace returned[16];
};

bool zvxp_run_flush_answer(zvx_omx_common_component *comp, zvx_omx_common_cproc_command_data *command)
{
    auto *answer = reinterpret_cast<zvxp_flush_answer *>(command);
    if (!zvx_due_flush_requested(comp, static_cast<int32_t>(answer->port))) {
        return false;
    }
    for (size_t i = 0; i < answer->count; ++i) {
        zvx_dispatch(comp, answer->port == 0 ? ZVX_BASE_EVENT_INPUT : ZVX_BASE_EVENT_OUTPUT, &answer->returned[i],
                     sizeof(answer->returned[i]));
    }
    const zvx_base_event_header flushed = {
        static_cast<uint16_t>(answer->port == 0 ? ZVX_BASE_EVENT_INPUT_FLUSHED : ZVX_BASE_EVENT_OUTPUT_FLUSHED), 0};
    zvxp_omx_handle_event(comp, &flushed);
    return true;
}

class Buffers : public zvx_decoder_test {
protected:
    void SetUp() override
    {
        zvx_decoder_test::SetUp();
        zvxp_queued_to_session = 0;
        bb_cb.bbcb_empty_this_buffer = zvxp_count_queued;
        bb_cb.bbcb_fill_this_buffer = zvxp_count_queued;
    }

    /* Output disabled on the way to Idle, as GStreamer does, then enabled and populated; Executing. */
    void start_executing()
    {
        disable_output();
        inputs_ = idle_with_inputs(definition(0).nBufferCountActual);
        send(OMX_CommandPortEnable, 1);
        outputs_ = allocate(1, definition(1).nBufferCountActual);
        expect_events({zvx_complete(OMX_CommandPortEnable, 1)});
        change_state(OMX_StateExecuting);
    }

    void queue(const headers &buffers)
    {
        for (OMX_BUFFERHEADERTYPE *header : buffers) {
            const OMX_U32 port = header->nInputPortIndex;
            header->nFilledLen = port == 0 ? 100 : 0;
            header->nOffset = 0;
            ASSERT_EQ(port == 0 ? omx_->EmptyThisBuffer(omx_, header) : omx_->FillThisBuffer(omx_, header),
                      OMX_ErrorNone);
        }
    }

    static zvx_base_buffer_userspace descriptor(OMX_BUFFERHEADERTYPE *header)
    {
        return zvx_omx_common_bufferheader_from_pub(header)->priv.desc;
    }

    /* The buffer as the session returns it unused. */
    static zvx_base_buffer_userspace emptied(OMX_BUFFERHEADERTYPE *header)
    {
        zvx_base_buffer_userspace desc = descriptor(header);
        desc.filled_len = 0;
        desc.flags = 0;
        return desc;
    }

    /* The session refuses the output, as it does once a vp9 stream needs larger buffers. */
    void refuse(OMX_BUFFERHEADERTYPE *header)
    {
        zvx_base_buffer_userspace refused = descriptor(header);
        refused.zvx_flags |= ZVX_OMX_ZVX_FLAG_REJECTED;
        zvx_answer_with(comp_, ZVX_BASE_EVENT_OUTPUT, refused);
    }

    /* The session gives the buffers back once due says so. */
    void give_back(const headers &buffers)
    {
        for (OMX_BUFFERHEADERTYPE *header : buffers) {
            zvx_answer_with(comp_, header->nInputPortIndex == 0 ? ZVX_BASE_EVENT_INPUT : ZVX_BASE_EVENT_OUTPUT,
                            emptied(header));
        }
    }

    /* The session flushes the port, giving back what it holds of it. */
    void flush_returning(OMX_U32 port, const headers &held)
    {
        auto *answer = static_cast<zvxp_flush_answer *>(zvx_mem_calloc(1, sizeof(zvxp_flush_answer)));
        ASSERT_NE(answer, nullptr);
        ASSERT_LE(held.size(), std::size(answer->returned));
        answer->head.function = zvxp_run_flush_answer;
        answer->port = port;
        for (OMX_BUFFERHEADERTYPE *header : held) {
            answer->returned[answer->count++] = emptied(header);
        }
        ASSERT_TRUE(zvx_omx_common_component_queue_command(comp_, &answer->head));
    }

    /* How often each header came back since the last call, waiting until count returns have arrived. */
    std::map<OMX_BUFFERHEADERTYPE *, int> returns(size_t count = 0)
    {
        std::map<OMX_BUFFERHEADERTYPE *, int> counted;
        size_t total = 0;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (;;) {
            for (const zvx_test_client::returned_buffer &returned : client_.take_buffers()) {
                ++counted[returned.header];
                ++total;
            }
            if (total >= count || std::chrono::steady_clock::now() >= deadline) {
                return counted;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    size_t spare_blocks(OMX_U32 port)
    {
        zvx_omx_mutex_guard guard(&comp_->lock);
        return comp_->ports[port].spare_count;
    }

    static std::set<OMX_U8 *> memory_of(std::initializer_list<const headers *> ports)
    {
        std::set<OMX_U8 *> memory;
        for (const headers *buffers : ports) {
            for (OMX_BUFFERHEADERTYPE *header : *buffers) {
                memory.insert(header->pBuffer);
            }
        }
        return memory;
    }

    static std::map<OMX_BUFFERHEADERTYPE *, int> once_each(const headers &buffers)
    {
        std::map<OMX_BUFFERHEADERTYPE *, int> expected;
        for (OMX_BUFFERHEADERTYPE *header : buffers) {
            expected[header] = 1;
        }
        return expected;
    }

    headers inputs_;
    headers outputs_;
};

// Freed memory, a closed component's too, serves the next allocation of its size (leaks fail the sanitizers).
TEST_F(Buffers, RegistrationOnlyWhileTakingBuffersAndFreedMemoryServesTheNextAllocationOfItsSize)
{
    const OMX_U32 size = definition(0).nBufferSize;
    OMX_U8 bytes[16];
    OMX_BUFFERHEADERTYPE *refused = nullptr;
    EXPECT_EQ(omx_->AllocateBuffer(omx_, &refused, 0, nullptr, size), OMX_ErrorIncorrectStateOperation);
    EXPECT_EQ(omx_->UseBuffer(omx_, &refused, 0, nullptr, size, bytes), OMX_ErrorIncorrectStateOperation);
    EXPECT_EQ(refused, nullptr);

    start_executing();
    const std::set<OMX_U8 *> closed_memory = memory_of({&inputs_, &outputs_});
    change_state(OMX_StateIdle);
    send(OMX_CommandStateSet, OMX_StateLoaded);
    free_all(0, inputs_);
    free_all(1, outputs_);
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateLoaded)});
    for (OMX_BUFFERHEADERTYPE *freed : inputs_) {
        EXPECT_EQ(omx_->EmptyThisBuffer(omx_, freed), OMX_ErrorBadParameter);
        EXPECT_EQ(omx_->FreeBuffer(omx_, 0, freed), OMX_ErrorBadParameter);
    }
    for (OMX_BUFFERHEADERTYPE *freed : outputs_) {
        EXPECT_EQ(omx_->FillThisBuffer(omx_, freed), OMX_ErrorBadParameter);
    }
    destroy();
    create();
    start_executing();
    EXPECT_EQ(memory_of({&inputs_, &outputs_}), closed_memory) << "a buffer on fresh memory";
    for (OMX_BUFFERHEADERTYPE *header : inputs_) {
        std::memset(header->pBuffer, 0x5a, header->nAllocLen);
    }

    EXPECT_EQ(omx_->AllocateBuffer(omx_, &refused, 0, nullptr, size), OMX_ErrorIncorrectStateOperation)
        << "populated port";
    const std::set<OMX_U8 *> first = memory_of({&outputs_});
    for (const OMX_U32 extra : {0u, 4096u}) {
        send(OMX_CommandPortDisable, 1);
        zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
        zvx_answer_flush(comp_, 1);
        EXPECT_EQ(omx_->AllocateBuffer(omx_, &refused, 1, nullptr, definition(1).nBufferSize),
                  OMX_ErrorIncorrectStateOperation)
            << "port being disabled";
        free_all(1, outputs_);
        EXPECT_EQ(spare_blocks(1), outputs_.size());
        zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
        expect_events({zvx_complete(OMX_CommandPortDisable, 1)});
        send(OMX_CommandPortEnable, 1);
        const OMX_PARAM_PORTDEFINITIONTYPE output = definition(1);
        outputs_.assign(output.nBufferCountActual, nullptr);
        for (OMX_BUFFERHEADERTYPE *&header : outputs_) {
            ASSERT_EQ(omx_->AllocateBuffer(omx_, &header, 1, nullptr, output.nBufferSize + extra), OMX_ErrorNone);
            std::memset(header->pBuffer, 0xa5, header->nAllocLen);
        }
        expect_events({zvx_complete(OMX_CommandPortEnable, 1)});
        EXPECT_EQ(spare_blocks(1), 0u);
        if (extra == 0) {
            EXPECT_EQ(memory_of({&outputs_}), first);
        }
    }
}

TEST_F(Buffers, RegistrationRefusesBadArgumentsSizesAndCountsEvenToEightThreadsAtOnce)
{
    send(OMX_CommandStateSet, OMX_StateIdle);
    const OMX_PARAM_PORTDEFINITIONTYPE input = definition(0);
    OMX_U8 memory[16];
    OMX_BUFFERHEADERTYPE *header = nullptr;
    EXPECT_EQ(omx_->AllocateBuffer(nullptr, &header, 0, nullptr, input.nBufferSize), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->AllocateBuffer(omx_, nullptr, 0, nullptr, input.nBufferSize), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->AllocateBuffer(omx_, &header, 2, nullptr, input.nBufferSize), OMX_ErrorBadPortIndex);
    EXPECT_EQ(omx_->AllocateBuffer(omx_, &header, OMX_ALL, nullptr, input.nBufferSize), OMX_ErrorBadPortIndex);
    EXPECT_EQ(omx_->UseBuffer(omx_, &header, 0, nullptr, input.nBufferSize, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->UseBuffer(omx_, &header, 0, nullptr, input.nBufferSize - 1, memory), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->AllocateBuffer(omx_, &header, 0, nullptr, 0), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->AllocateBuffer(omx_, &header, 0, nullptr, 0xFFFFFFFFu), OMX_ErrorBadParameter);
    EXPECT_EQ(header, nullptr);

    for (size_t taken = 1; taken < input.nBufferCountActual; ++taken) {
        ASSERT_EQ(omx_->AllocateBuffer(omx_, &header, 0, nullptr, input.nBufferSize), OMX_ErrorNone);
        EXPECT_EQ(header->nSize, sizeof(OMX_BUFFERHEADERTYPE));
        EXPECT_EQ(header->nAllocLen, input.nBufferSize);
        EXPECT_EQ(definition(0).bPopulated, OMX_FALSE);
    }
    // Eight threads race for the last one: exactly one wins.
    std::atomic<unsigned> registered{0};
    zvx_on_threads(8, [&](int) {
        for (int attempt = 0; attempt < 5; ++attempt) {
            OMX_BUFFERHEADERTYPE *last = nullptr;
            const OMX_ERRORTYPE error = omx_->AllocateBuffer(omx_, &last, 0, nullptr, input.nBufferSize);
            EXPECT_TRUE(error == OMX_ErrorNone || error == OMX_ErrorInsufficientResources) << error;
            registered += error == OMX_ErrorNone;
        }
    });
    EXPECT_EQ(registered.load(), 1u);
    EXPECT_EQ(definition(0).bPopulated, OMX_TRUE);
    client_.take(1); // the change to Idle cannot complete without the output's buffers
}

TEST_F(Buffers, HeadersAreCheckedBeforeAnythingOfThemIsReadAndAQueuedOneIsLeftWhereItIs)
{
    start_executing();
    OMX_BUFFERHEADERTYPE *header = inputs_[0];
    // Exactly a public header: a read of anything behind it is caught by the sanitizers.
    auto *foreign = static_cast<OMX_BUFFERHEADERTYPE *>(std::calloc(1, sizeof(OMX_BUFFERHEADERTYPE)));
    *foreign = *header;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, foreign), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->FillThisBuffer(omx_, foreign), OMX_ErrorBadParameter);
    std::free(foreign);
    zvx_test_client other_client;
    zvx_omx_decoder_component other;
    zvx_omx_component other_handle;
    OMX_CALLBACKTYPE callbacks = zvx_test_client::callbacks();
    ASSERT_EQ(zvx_omx_decoder_component_init(&other_handle, &other, &other_client, &callbacks), OMX_ErrorNone);
    OMX_COMPONENTTYPE *other_omx = &other_handle.omx;
    ASSERT_EQ(other_omx->SendCommand(other_omx, OMX_CommandStateSet, OMX_StateIdle, nullptr), OMX_ErrorNone);
    OMX_BUFFERHEADERTYPE *theirs = nullptr;
    ASSERT_EQ(other_omx->AllocateBuffer(other_omx, &theirs, 0, nullptr, definition(0).nBufferSize), OMX_ErrorNone);
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, theirs), OMX_ErrorBadParameter) << "another component's";
    EXPECT_EQ(other_omx->FreeBuffer(other_omx, 0, theirs), OMX_ErrorNone);
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, theirs), OMX_ErrorBadParameter) << "freed by its own component";
    zvx_omx_decoder_component_destroy(&other);
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->EmptyThisBuffer(nullptr, header), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, outputs_[0]), OMX_ErrorBadPortIndex);
    EXPECT_EQ(omx_->FillThisBuffer(omx_, header), OMX_ErrorBadPortIndex);

    const OMX_BUFFERHEADERTYPE kept = *header;
    header->nSize = 3;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorBadParameter);
    *header = kept;
    header->nVersion.nVersion = 0xdeadbeef;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorVersionMismatch);
    *header = kept;
    header->nInputPortIndex = 1;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorBadPortIndex);
    *header = kept;
    header->nOffset = 0xFFFFFFF0u;
    header->nFilledLen = 0xFFFFFFF0u;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorBadParameter);
    header->nOffset = 1;
    header->nFilledLen = header->nAllocLen;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorBadParameter);
    outputs_[0]->nOffset = outputs_[0]->nAllocLen + 1;
    EXPECT_EQ(omx_->FillThisBuffer(omx_, outputs_[0]), OMX_ErrorBadParameter);
    EXPECT_EQ(zvxp_queued_to_session.load(), 0);
    EXPECT_EQ(zvx_list_size_omxbufferhdrptr(&comp_->ports[0].tracked_buffers), 0u);
    EXPECT_EQ(zvx_list_size_port_buffers(&comp_->ports[0].buffer_list), 0u);

    // Data at an offset reaches the session from the start of the buffer.
    *header = kept;
    header->pBuffer[8] = 0x5a;
    header->nOffset = 8;
    header->nFilledLen = 1;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorNone);
    EXPECT_EQ(header->pBuffer[0], 0x5a);
    EXPECT_EQ(header->nOffset, 0u);

    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorIncorrectStateOperation) << "queued already";
    EXPECT_EQ(omx_->FreeBuffer(omx_, 0, header), OMX_ErrorIncorrectStateOperation);
    EXPECT_EQ(zvxp_queued_to_session.load(), 1);
    EXPECT_EQ(zvx_list_size_omxbufferhdrptr(&comp_->ports[0].tracked_buffers), 1u);
    EXPECT_EQ(zvx_list_size_port_buffers(&comp_->ports[0].buffer_list), 1u);
    queue(outputs_);
    give_back({header});
    zvx_sync(comp_);
    EXPECT_EQ(returns(), once_each({header}));
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorNone) << "back with the client";
}

// An input port that never had a buffer does not make a freed output header safe to read.
TEST_F(Buffers, FreedOutputQueuedAsInputIsRefusedUnread)
{
    send(OMX_CommandPortDisable, 0);
    expect_events({zvx_complete(OMX_CommandPortDisable, 0)});
    send(OMX_CommandStateSet, OMX_StateIdle);
    const headers outputs = allocate(1, definition(1).nBufferCountActual);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateIdle)});
    send(OMX_CommandStateSet, OMX_StateLoaded);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
    free_all(1, outputs);
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateLoaded)});
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, outputs.front()), OMX_ErrorBadParameter);
}

TEST_F(Buffers, QueueingOnlyInIdleExecutingOrPauseOnAnEnabledPort)
{
    send(OMX_CommandStateSet, OMX_StateIdle);
    inputs_ = allocate(0, definition(0).nBufferCountActual);
    outputs_ = allocate(1, definition(1).nBufferCountActual);
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, inputs_[0]), OMX_ErrorIncorrectStateOperation) << "Loaded";
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateIdle)});
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, inputs_[0]), OMX_ErrorNone) << "Idle";
    change_state(OMX_StateExecuting);
    change_state(OMX_StatePause);
    EXPECT_EQ(omx_->FillThisBuffer(omx_, outputs_[0]), OMX_ErrorNone) << "Pause";
    // Paused hardware is stopped already: the disable only flushes.
    send(OMX_CommandPortDisable, 1);
    flush_returning(1, {outputs_[0]});
    EXPECT_EQ(omx_->FillThisBuffer(omx_, outputs_[1]), OMX_ErrorIncorrectStateOperation) << "port disabled";
    EXPECT_EQ(returns(1), once_each({outputs_[0]}));
    free_all(1, outputs_);
    expect_events({zvx_complete(OMX_CommandPortDisable, 1)});
    EXPECT_EQ(zvxp_queued_to_session.load(), 2);
}

TEST_F(Buffers, EightThreadsQueueTheSameBuffersAndEveryOneIsBackOnceAfterAFlushAPortDisableAndTheWayToIdle)
{
    start_executing();
    std::atomic<int> accepted{0};
    std::atomic<int> refused{0};
    zvx_on_threads(8, [&](int) {
        for (OMX_BUFFERHEADERTYPE *header : inputs_) {
            (omx_->EmptyThisBuffer(omx_, header) == OMX_ErrorNone ? accepted : refused)++;
        }
    });
    EXPECT_EQ(accepted.load(), static_cast<int>(inputs_.size()));
    EXPECT_EQ(refused.load(), static_cast<int>(7 * inputs_.size()));
    EXPECT_EQ(zvxp_queued_to_session.load(), accepted.load());
    queue(outputs_);
    send(OMX_CommandFlush, OMX_ALL);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
    flush_returning(0, inputs_);
    flush_returning(1, outputs_);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    expect_events({zvx_complete(OMX_CommandFlush, 0), zvx_complete(OMX_CommandFlush, 1)});
    headers all = inputs_;
    all.insert(all.end(), outputs_.begin(), outputs_.end());
    EXPECT_EQ(returns(), once_each(all));

    queue(outputs_);
    send(OMX_CommandPortDisable, 1);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
    flush_returning(1, outputs_);
    EXPECT_EQ(returns(outputs_.size()), once_each(outputs_));
    free_all(1, outputs_);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    expect_events({zvx_complete(OMX_CommandPortDisable, 1)});

    queue(inputs_);
    send(OMX_CommandStateSet, OMX_StateIdle);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
    flush_returning(0, inputs_);
    flush_returning(1, {});
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateIdle)});
    EXPECT_EQ(returns(), once_each(inputs_));
}

TEST_F(Buffers, ConsumedInputsGoBackInQueueOrderAndAreHeldBackAtTheStartOnly)
{
    start_executing();
    const OMX_U32 output_minimum = definition(1).nBufferCountMin;
    ASSERT_GE(output_minimum, 3u);
    queue({outputs_[0]});
    queue(inputs_);
    give_back({inputs_[1]});
    zvx_sync(comp_);
    EXPECT_TRUE(client_.take_buffers().empty()) << "behind one the session still holds";
    give_back({inputs_[0]});
    give_back({inputs_[2]});
    zvx_sync(comp_);
    std::vector<zvx_test_client::returned_buffer> returned = client_.take_buffers();
    ASSERT_EQ(returned.size(), 1u) << "no more back than outputs queued, while nothing was produced";
    EXPECT_EQ(returned[0].header, inputs_[0]);

    queue({outputs_[1]});
    zvx_sync(comp_);
    returned = client_.take_buffers();
    ASSERT_EQ(returned.size(), 1u) << "an output more lets one more go";
    EXPECT_EQ(returned[0].header, inputs_[1]);

    zvx_base_buffer_userspace picture = descriptor(outputs_[0]);
    picture.filled_len = 64;
    zvx_answer_with(comp_, ZVX_BASE_EVENT_OUTPUT, picture);
    zvx_sync(comp_);
    returned = client_.take_buffers();
    ASSERT_EQ(returned.size(), 2u) << "once output is produced, everything consumed goes";
    EXPECT_EQ(returned[0].header, outputs_[0]);
    EXPECT_EQ(returned[1].header, inputs_[2]);

    // Once the stream runs, all go back, still in queue order.
    queue({inputs_[0], inputs_[1], inputs_[2]});
    headers order(inputs_.begin() + 3, inputs_.end());
    order.insert(order.end(), inputs_.begin(), inputs_.begin() + 3);
    give_back(headers(order.rbegin(), order.rend() - 1));
    zvx_sync(comp_);
    EXPECT_TRUE(client_.take_buffers().empty()) << "the first one queued is still with the session";
    give_back({order.front()});
    zvx_sync(comp_);
    returned = client_.take_buffers();
    ASSERT_EQ(returned.size(), order.size());
    for (size_t i = 0; i < returned.size(); ++i) {
        EXPECT_EQ(returned[i].header, order[i]);
    }
}

TEST_F(Buffers, OutputCarriesWhatTheSessionWroteAndTheCropAndEndOfStream)
{
    start_executing();
    queue(outputs_);
    zvx_base_buffer_userspace picture = descriptor(outputs_[0]);
    picture.offset = 16;
    picture.filled_len = 1000;
    picture.flags = OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_EOS;
    picture.timestamp = 123456;
    picture.cropx = 100;
    picture.cropy = 80;
    zvx_answer_with(comp_, ZVX_BASE_EVENT_OUTPUT, picture);
    expect_events({{OMX_EventPortSettingsChanged, 1, OMX_IndexConfigCommonOutputCrop},
                   {OMX_EventBufferFlag, 1, OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_EOS}});
    const OMX_BUFFERHEADERTYPE &filled = *outputs_[0];
    EXPECT_EQ(filled.nOffset, 16u);
    EXPECT_EQ(filled.nFilledLen, 1000u);
    EXPECT_EQ(filled.nTimeStamp, 123456);
    EXPECT_EQ(filled.nFlags, static_cast<OMX_U32>(OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_EOS));
    auto crop = zvx_omx_stamped_record<OMX_CONFIG_RECTTYPE>(1);
    ASSERT_EQ(omx_->GetConfig(omx_, OMX_IndexConfigCommonOutputCrop, &crop), OMX_ErrorNone);
    EXPECT_EQ(crop.nWidth, 100u);
    EXPECT_EQ(crop.nHeight, 80u);

    zvx_base_buffer_userspace overlong = descriptor(outputs_[1]);
    overlong.offset = 8;
    overlong.filled_len = outputs_[1]->nAllocLen;
    overlong.cropx = 100;
    overlong.cropy = 80;
    zvx_answer_with(comp_, ZVX_BASE_EVENT_OUTPUT, overlong);
    zvx_sync(comp_);
    EXPECT_EQ(outputs_[1]->nFilledLen, outputs_[1]->nAllocLen - 8) << "cut at the buffer's end";
    EXPECT_EQ(returns(), once_each({outputs_[0], outputs_[1]}));
}

TEST_F(Buffers, CallbacksMayQueueTheBufferTheyReturnAndATeardownThenLosesNothing)
{
    start_executing();
    queue(inputs_);
    queue(outputs_);
    std::atomic<int> requeued{0};
    client_.on_buffer = [&](OMX_BUFFERHEADERTYPE *header) {
        requeued += (header->nInputPortIndex == 0 ? omx_->EmptyThisBuffer(omx_, header)
                                                  : omx_->FillThisBuffer(omx_, header)) == OMX_ErrorNone;
    };
    give_back(inputs_);
    give_back(outputs_);
    zvx_sync(comp_);
    EXPECT_EQ(requeued.load(), static_cast<int>(inputs_.size() + outputs_.size()));
    EXPECT_EQ(zvx_list_size_omxbufferhdrptr(&comp_->ports[0].tracked_buffers), inputs_.size());
    EXPECT_EQ(zvx_list_size_omxbufferhdrptr(&comp_->ports[1].tracked_buffers), outputs_.size());
    client_.on_buffer = nullptr;
    destroy(); // with every buffer in the session: nothing may be lost (the sanitizer and valgrind runs)
}

TEST_F(Buffers, RefusedOutputsWaitForEveryOutstandingOneThenGoBackTogetherAnnouncedOnce)
{
    auto role = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::strcpy(reinterpret_cast<char *>(role.cRole), "video_decoder.vp9");
    ASSERT_EQ(omx_->SetParameter(omx_, OMX_IndexParamStandardComponentRole, &role), OMX_ErrorNone);
    start_executing();
    queue(outputs_);
    zvx_base_buffer_userspace picture = descriptor(outputs_[0]);
    picture.filled_len = 64;
    zvx_answer_with(comp_, ZVX_BASE_EVENT_OUTPUT, picture);
    zvx_sync(comp_);
    EXPECT_EQ(returns(), once_each({outputs_[0]}));
    queue({outputs_[0]});

    zvx_base_fw_frame_alloc_parameters larger = {};
    larger.planar_alloc_frame_width = 1920;
    larger.planar_alloc_frame_height = 1088;
    zvx_answer_with(comp_, ZVX_BASE_EVENT_ALLOC_PARAMS, larger);
    for (size_t i = 0; i < outputs_.size(); ++i) {
        refuse(outputs_[i]);
        zvx_sync(comp_);
        if (i + 1 < outputs_.size()) {
            EXPECT_TRUE(client_.take_buffers().empty()) << "refused buffer " << i << " went back early";
        }
    }
    expect_events({{OMX_EventPortSettingsChanged, 1, 0}});
    EXPECT_EQ(returns(), once_each(outputs_));
    EXPECT_EQ(definition(1).format.video.nFrameWidth, 1920u);

    // Queued again before the client has read the event: refused too, and not announced again.
    queue(outputs_);
    for (OMX_BUFFERHEADERTYPE *header : outputs_) {
        refuse(header);
    }
    zvx_sync(comp_);
    EXPECT_EQ(returns(), once_each(outputs_));

    // A flush gives back those refused and still parked with the rest.
    queue(outputs_);
    refuse(outputs_[0]);
    refuse(outputs_[1]);
    send(OMX_CommandFlush, 1);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
    flush_returning(1, {outputs_.begin() + 2, outputs_.end()});
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    expect_events({zvx_complete(OMX_CommandFlush, 1)});
    EXPECT_EQ(returns(), once_each(outputs_));
}

/* An encoder as the encoder suite builds it: Loaded, no buffer registered ever. */
using EncoderBuffers = zvx_encoder_test;

std::atomic<OMX_U32> zvxp_rate_sent;

void zvxp_record_rate(int, OMX_INDEXTYPE index, OMX_U32, void *param)
{
    if (index == OMX_IndexConfigVideoFramerate) {
        zvxp_rate_sent = static_cast<OMX_CONFIG_FRAMERATETYPE *>(param)->xEncodeFramerate;
    }
}

TEST_F(EncoderBuffers, EmptyEndOfStreamBeforeAnyBufferIsAnsweredAndInputTimestampsSetTheFrameRate)
{
    auto *stray = static_cast<OMX_BUFFERHEADERTYPE *>(std::calloc(1, sizeof(OMX_BUFFERHEADERTYPE)));
    stray->nFlags = OMX_BUFFERFLAG_EOS;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, stray), OMX_ErrorNone);
    EXPECT_EQ(zvx_list_size_port_buffers(&comp_->ports[0].buffer_list), 0u);
    stray->nFilledLen = 1;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, stray), OMX_ErrorBadParameter) << "carries data";
    stray->nFilledLen = 0;
    EXPECT_EQ(omx_->FillThisBuffer(omx_, stray), OMX_ErrorBadParameter) << "only an input ends a stream";
    stray->nInputPortIndex = 1;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, stray), OMX_ErrorBadParameter) << "not for the input";
    stray->nInputPortIndex = 0;

    send(OMX_CommandStateSet, OMX_StateIdle);
    const headers registered = allocate(0, 1);
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, stray), OMX_ErrorBadParameter)
        << "once a buffer was registered, an unknown address may be one freed";
    std::free(stray);
    client_.take(1); // the change to Idle fails without the other buffers
    free_all(0, registered);

    zvxp_rate_sent = 0;
    bb_cb.bbcb_set_parameter = zvxp_record_rate;
    disable_output();
    const headers inputs = idle_with_inputs(definition(0).nBufferCountActual);
    change_state(OMX_StateExecuting);

    // 25 pictures a second: one every 40 ms.
    for (size_t i = 0; i < inputs.size(); ++i) {
        inputs[i]->nFilledLen = 1000;
        inputs[i]->nTimeStamp = static_cast<OMX_TICKS>(i) * 40000;
        ASSERT_EQ(omx_->EmptyThisBuffer(omx_, inputs[i]), OMX_ErrorNone);
    }
    auto rate = zvx_omx_stamped_record<OMX_CONFIG_FRAMERATETYPE>(0);
    ASSERT_EQ(omx_->GetConfig(omx_, OMX_IndexConfigVideoFramerate, &rate), OMX_ErrorNone);
    EXPECT_EQ(rate.xEncodeFramerate, 25u << 16);
    EXPECT_EQ(zvxp_rate_sent.load(), 25u << 16);
}

} // namespace
