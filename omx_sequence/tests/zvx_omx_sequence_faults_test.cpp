// Fixed sequences through the core, one per fault the random player found, each asserting what the
// model of the client's side requires: every command answered once and in order, every buffer back
// when it must be and never after it was freed, port definitions that follow the client.
#include <gtest/gtest.h>

#include <OMX_Core.h>

#include <memory>
#include <thread>

#include "zvx_omx_sequence_client.h"
#include "zvx_omx_sequence_settle.h"

namespace {

using namespace std::chrono_literals;

constexpr OMX_U32 INPUT = zvx_seq_client::INPUT;
constexpr OMX_U32 OUTPUT = zvx_seq_client::OUTPUT;

class SequenceFaultTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(OMX_Init(), OMX_ErrorNone); }

    void TearDown() override
    {
        client_.reset(); // frees the handle of a client still open
        EXPECT_EQ(OMX_Deinit(), OMX_ErrorNone);
    }

    void open(zvx_seq_kind kind)
    {
        client_.reset();
        trace_ = std::make_unique<zvx_seq_trace>();
        client_ = std::make_unique<zvx_seq_client>(kind, *trace_);
        EXPECT_EQ(client_->open(176, 144), OMX_ErrorNone);
    }

    /* Waits for every command sent so far, doing what each needs; false on a hang. */
    bool settle() { return zvx_seq_settle(*client_, {2000ms}); }

    bool command(OMX_COMMANDTYPE command, OMX_U32 param)
    {
        return client_->send_command(command, param) == OMX_ErrorNone && settle();
    }

    void to_executing()
    {
        ASSERT_TRUE(command(OMX_CommandStateSet, OMX_StateIdle));
        ASSERT_TRUE(command(OMX_CommandStateSet, OMX_StateExecuting));
        ASSERT_TRUE(clean()) << report();
    }

    /* Executing with every buffer given; with `requeue`, given again as soon as it comes back. */
    void stream(zvx_seq_kind kind, bool requeue = false)
    {
        open(kind);
        ASSERT_NO_FATAL_FAILURE(to_executing());
        if (requeue) {
            zvx_seq_reactions reactions;
            reactions.requeue_input_percent = 100;
            reactions.requeue_output_percent = 100;
            client_->set_reactions(reactions);
        }
        fill_all();
        empty_all();
    }

    /* As many buffers as the port's definition, read first, asks for. */
    void allocate_all(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE &definition)
    {
        ASSERT_EQ(client_->get_port(port, &definition), OMX_ErrorNone);
        for (OMX_U32 i = 0; i < definition.nBufferCountActual; ++i) {
            ASSERT_EQ(client_->allocate(port, definition.nBufferSize, false), OMX_ErrorNone);
        }
    }

    void fill_all()
    {
        for (OMX_BUFFERHEADERTYPE *header : client_->held(OUTPUT)) {
            client_->fill(header);
        }
    }

    void empty_all()
    {
        for (OMX_BUFFERHEADERTYPE *header : client_->held(INPUT)) {
            zvx_seq_input input;
            input.filled = 256;
            input.timestamp = timestamp_ += 33333;
            client_->empty(header, input);
        }
    }

    bool clean() { return client_->violations().empty(); }

    /* Drives the component back to Loaded and frees the handle; the model checks the way there. */
    bool tear_down() { return zvx_seq_tear_down(*client_, {2000ms}); }

    std::string report()
    {
        std::string text = "\n";
        for (const zvx_seq_violation &violation : client_->violations()) {
            text += std::string(zvx_seq_fault_name(violation.fault)) + ": " + violation.text + "\n";
        }
        text += "trace:\n";
        for (const std::string &line : trace_->lines()) {
            text += line + "\n";
        }
        return text;
    }

    std::unique_ptr<zvx_seq_trace> trace_;
    std::unique_ptr<zvx_seq_client> client_;
    OMX_TICKS timestamp_ = 0;
};

/* Fault 1: Idle completed while the component held buffers queued before a pause. Fault 2: two
 * flushes of one port back to back, in Idle after Executing and in Pause, were answered once. */
TEST_F(SequenceFaultTest, EveryBufferIsBackBeforeIdleCompletesFromPauseAndEachOfTwoFlushesIsAnswered)
{
    ASSERT_NO_FATAL_FAILURE(stream(zvx_seq_kind::decoder));
    EXPECT_TRUE(command(OMX_CommandStateSet, OMX_StatePause));
    EXPECT_TRUE(command(OMX_CommandStateSet, OMX_StateIdle));
    EXPECT_TRUE(client_->lent(INPUT).empty() && client_->lent(OUTPUT).empty()) << "buffers held in Idle";
    EXPECT_TRUE(tear_down() && clean()) << report();

    for (const OMX_STATETYPE stopped : {OMX_StateIdle, OMX_StatePause}) {
        open(zvx_seq_kind::decoder);
        ASSERT_NO_FATAL_FAILURE(to_executing());
        ASSERT_TRUE(command(OMX_CommandStateSet, stopped));
        client_->send_command(OMX_CommandFlush, INPUT);
        client_->send_command(OMX_CommandFlush, INPUT);
        ASSERT_TRUE(settle() && clean()) << "in " << zvx_seq_state_name(stopped) << report();
        EXPECT_TRUE(tear_down());
    }
}

/* Fault 3: Flush(OMX_ALL) in Executing with the encoder producing, then Pause or Idle at once; the
 * Pause or Idle hung about one run in four. Fault 8: an input handed back from inside its
 * EmptyBufferDone was refused as already queued. */
TEST_F(SequenceFaultTest, StateChangeRightAfterFlushAllIsAnsweredAndRequeuedInputsAreTaken)
{
    for (const zvx_seq_kind kind : {zvx_seq_kind::decoder, zvx_seq_kind::encoder}) {
        ASSERT_NO_FATAL_FAILURE(stream(kind, true));
        std::this_thread::sleep_for(200ms);
        EXPECT_TRUE(tear_down() && clean()) << report();
    }
    for (int run = 0; run < 32; ++run) {
        ASSERT_NO_FATAL_FAILURE(stream(zvx_seq_kind::encoder, true));
        std::this_thread::sleep_for(2ms);
        client_->send_command(OMX_CommandFlush, OMX_ALL);
        client_->send_command(OMX_CommandStateSet, run % 2 == 0 ? OMX_StatePause : OMX_StateIdle);
        ASSERT_TRUE(settle() && clean()) << "run " << run << report();
        EXPECT_TRUE(tear_down());
    }
}

/* Fault 4: the encoder's output port, disabled and freed, came back enabled and populated with no
 * buffer after its settings changed, and an enable then completed without buffers. */
TEST_F(SequenceFaultTest, DisabledPortsStayDisabledAndEmptyAndTheirBuffersComeBackOnce)
{
    open(zvx_seq_kind::encoder);
    ASSERT_NO_FATAL_FAILURE(to_executing());
    EXPECT_TRUE(command(OMX_CommandPortDisable, OUTPUT));
    EXPECT_TRUE(client_->buffers(OUTPUT).empty());
    // The encoder tells of its output settings once it has input to code.
    empty_all();
    std::this_thread::sleep_for(300ms);
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    ASSERT_EQ(client_->get_port(OUTPUT, &definition), OMX_ErrorNone);
    EXPECT_EQ(definition.bEnabled, OMX_FALSE);
    EXPECT_EQ(definition.bPopulated, OMX_FALSE);

    client_->send_command(OMX_CommandPortEnable, OUTPUT);
    EXPECT_FALSE(client_->wait_until([](const zvx_seq_model &model) { return model.unanswered().empty(); }, 300ms))
        << "the enable completed with no buffer";
    EXPECT_TRUE(settle());
    ASSERT_EQ(client_->get_port(OUTPUT, &definition), OMX_ErrorNone);
    EXPECT_TRUE(tear_down() && clean()) << report();

    // With outputs queued when the disable is sent, each came back but its free was refused and the
    // disable never completed.
    ASSERT_NO_FATAL_FAILURE(stream(zvx_seq_kind::encoder));
    client_->send_command(OMX_CommandPortDisable, OUTPUT);
    EXPECT_TRUE(settle());
    EXPECT_TRUE(client_->buffers(OUTPUT).empty()) << "outputs the client could not free";
    EXPECT_TRUE(tear_down() && clean()) << report();

    // An output given after the disable was sent was accepted, and never given back.
    open(zvx_seq_kind::encoder);
    ASSERT_NO_FATAL_FAILURE(to_executing());
    client_->send_command(OMX_CommandPortDisable, OUTPUT);
    empty_all();
    std::this_thread::sleep_for(5ms);
    fill_all();
    EXPECT_TRUE(settle());
    EXPECT_TRUE(tear_down() && clean()) << report();

    // Fault 7: FreeBuffer of an input on its way back during a disable was accepted, and EmptyBufferDone
    // then passed the freed header.
    for (int run = 0; run < 48; ++run) {
        open(run % 2 == 0 ? zvx_seq_kind::decoder : zvx_seq_kind::encoder);
        ASSERT_NO_FATAL_FAILURE(to_executing());
        empty_all();
        client_->send_command(OMX_CommandPortDisable, INPUT);
        // Each input the client has not got back is freed again and again until the free is taken or
        // the input comes back: the component's window between the two is what is tried.
        const auto until = std::chrono::steady_clock::now() + 100ms;
        while (!client_->lent(INPUT).empty() && std::chrono::steady_clock::now() < until) {
            for (OMX_BUFFERHEADERTYPE *header : client_->lent(INPUT)) {
                client_->free_buffer(INPUT, header);
            }
        }
        ASSERT_TRUE(settle() && clean()) << "run " << run << report();
        EXPECT_TRUE(tear_down());
    }
}

/* Fault 5: in Idle with the output disabled, PortEnable then PortDisable at once: the disable completed
 * first, buffers for the enable were refused and the enable was never answered. */
TEST_F(SequenceFaultTest, PortAndStateCommandsTakeEffectInTheOrderSentAndADisableWaitsForItsBuffers)
{
    open(zvx_seq_kind::decoder);
    ASSERT_TRUE(command(OMX_CommandPortDisable, OUTPUT));
    ASSERT_TRUE(command(OMX_CommandStateSet, OMX_StateIdle));
    ASSERT_TRUE(clean()) << report();
    client_->send_command(OMX_CommandPortEnable, OUTPUT);
    client_->send_command(OMX_CommandPortDisable, OUTPUT);
    EXPECT_TRUE(settle());
    EXPECT_TRUE(tear_down() && clean()) << report();

    // A disable in Loaded, with buffers allocated for a pending Idle, completed with them still allocated.
    open(zvx_seq_kind::decoder);
    client_->send_command(OMX_CommandStateSet, OMX_StateIdle);
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    ASSERT_NO_FATAL_FAILURE(allocate_all(OUTPUT, definition));
    client_->send_command(OMX_CommandPortDisable, OUTPUT);
    ASSERT_EQ(client_->get_port(OUTPUT, &definition), OMX_ErrorNone);
    EXPECT_TRUE(settle());
    EXPECT_TRUE(tear_down() && clean()) << report();

    // Fault 6: Executing asked while Idle to Loaded was pending completed first, then Loaded.
    open(zvx_seq_kind::decoder);
    ASSERT_TRUE(command(OMX_CommandStateSet, OMX_StateIdle));
    client_->send_command(OMX_CommandStateSet, OMX_StateLoaded);
    for (const OMX_U32 port : {INPUT, OUTPUT}) {
        for (OMX_BUFFERHEADERTYPE *header : client_->held(port)) {
            client_->free_buffer(port, header);
        }
    }
    client_->send_command(OMX_CommandStateSet, OMX_StateExecuting);
    EXPECT_TRUE(settle());
    EXPECT_EQ(client_->inspect<OMX_STATETYPE>([](const zvx_seq_model &model) { return model.state(); }),
              OMX_StateLoaded);
    EXPECT_TRUE(tear_down() && clean()) << report();
}

/* Fault 8: Idle completed with 5 of 7 buffers after the client raised nBufferCountActual while Idle
 * was pending. */
TEST_F(SequenceFaultTest, IdleWaitsForTheCountInForceAndAnAcceptedCountReadsBack)
{
    open(zvx_seq_kind::decoder);
    client_->send_command(OMX_CommandStateSet, OMX_StateIdle);
    OMX_PARAM_PORTDEFINITIONTYPE input;
    ASSERT_NO_FATAL_FAILURE(allocate_all(INPUT, input));
    const OMX_U32 raised = input.nBufferCountActual + 2;
    input.nBufferCountActual = raised;
    ASSERT_EQ(client_->set_port(input), OMX_ErrorNone) << "a count may change while Loaded";
    OMX_PARAM_PORTDEFINITIONTYPE output;
    ASSERT_NO_FATAL_FAILURE(allocate_all(OUTPUT, output));
    EXPECT_FALSE(client_->wait_until([](const zvx_seq_model &model) { return model.unanswered().empty(); }, 200ms))
        << "Idle completed with " << client_->buffers(INPUT).size() << " of " << raised << " inputs";
    ASSERT_EQ(client_->get_port(INPUT, &input), OMX_ErrorNone);
    EXPECT_TRUE(settle());
    EXPECT_EQ(client_->buffers(INPUT).size(), raised);
    ASSERT_EQ(client_->get_port(INPUT, &input), OMX_ErrorNone);
    EXPECT_TRUE(tear_down() && clean()) << report();

    // A port definition the component accepted read back with another nBufferCountActual.
    for (const zvx_seq_kind kind : {zvx_seq_kind::decoder, zvx_seq_kind::encoder}) {
        open(kind);
        for (const OMX_U32 port : {INPUT, OUTPUT}) {
            OMX_PARAM_PORTDEFINITIONTYPE definition;
            ASSERT_EQ(client_->get_port(port, &definition), OMX_ErrorNone);
            for (const OMX_U32 count : {definition.nBufferCountMin - 1, definition.nBufferCountMin + 3, OMX_U32{32},
                                        OMX_U32{1000}, definition.nBufferCountMin}) {
                definition.nBufferCountActual = count;
                client_->set_port(definition);
            }
        }
        // And on a disabled port outside Loaded, where a definition may change too (no input is sent,
        // so that no settings change of the component's own comes between).
        ASSERT_NO_FATAL_FAILURE(to_executing());
        ASSERT_TRUE(command(OMX_CommandPortDisable, OUTPUT));
        ASSERT_EQ(client_->get_port(OUTPUT, &output), OMX_ErrorNone);
        output.nBufferCountActual = output.nBufferCountMin + 2;
        client_->set_port(output);
        EXPECT_TRUE(command(OMX_CommandPortEnable, OUTPUT));
        ASSERT_EQ(client_->get_port(OUTPUT, &output), OMX_ErrorNone);
        EXPECT_TRUE(tear_down() && clean()) << report();
    }
}

} // namespace
