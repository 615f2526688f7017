// The model of the client's side on its own, fed calls and callbacks by hand: what it must flag, and
// the interleavings of a correct component it must not.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "zvx_omx_sequence_model.h"

namespace {

bool flags(const zvx_seq_model &model, zvx_seq_fault fault)
{
    return model.counts(fault);
}

long doubled(const zvx_seq_model &model)
{
    return std::ranges::count_if(model.violations(), [](const zvx_seq_violation &violation) {
        return violation.fault == zvx_seq_fault::doubled_buffer;
    });
}

bool settled(const zvx_seq_model &model)
{
    return model.violations().empty() && model.unanswered().empty();
}

std::string listed(const zvx_seq_model &model)
{
    std::string text;
    for (const zvx_seq_violation &violation : model.violations()) {
        text += std::string(zvx_seq_fault_name(violation.fault)) + ": " + violation.text + "\n";
    }
    return text;
}

class ModelTest : public testing::Test {
protected:
    void send(OMX_COMMANDTYPE command, OMX_U32 param, OMX_ERRORTYPE result = OMX_ErrorNone)
    {
        model().command_sent(model().command_sending(command, param), result);
    }
    void complete(OMX_COMMANDTYPE command, OMX_U32 param) { model().on_event(OMX_EventCmdComplete, command, param); }
    void reach(OMX_STATETYPE state)
    {
        send(OMX_CommandStateSet, state);
        complete(OMX_CommandStateSet, state);
    }
    /* Loaded, Idle with both ports' buffers registered, then Executing. */
    void execute()
    {
        send(OMX_CommandStateSet, OMX_StateIdle);
        model().buffer_registered(&input, 0);
        model().buffer_registered(&output, 1);
        complete(OMX_CommandStateSet, OMX_StateIdle);
        reach(OMX_StateExecuting);
    }
    void give(OMX_BUFFERHEADERTYPE *header, OMX_ERRORTYPE result = OMX_ErrorNone)
    {
        model().give_finished(header, model().give_starting(header), result, true);
    }
    void freed(OMX_BUFFERHEADERTYPE *header)
    {
        model().free_starting(header);
        model().free_finished(header, OMX_ErrorNone);
    }
    void returned(OMX_BUFFERHEADERTYPE *header, OMX_U32 port)
    {
        model().buffer_done_entered(header, port);
        model().buffer_done_left(header);
    }

    zvx_seq_model &model() { return models_.back(); }
    /* Starts a case over on a model of its own. */
    void fresh() { models_.emplace_back(); }

    std::deque<zvx_seq_model> models_ = std::deque<zvx_seq_model>(1);
    OMX_BUFFERHEADERTYPE input{};
    OMX_BUFFERHEADERTYPE output{};
};

TEST_F(ModelTest, EveryCommandIsAnsweredOrRefusedOnceInOrderAndAsItsStateAllows)
{
    execute();
    send(OMX_CommandFlush, OMX_ALL);
    send(OMX_CommandPortDisable, 1);
    complete(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 1);
    freed(&output);
    complete(OMX_CommandPortDisable, 1);
    EXPECT_TRUE(settled(model())) << listed(model());
    EXPECT_FALSE(model().port_enabled(1));

    fresh();
    send(OMX_CommandStateSet, OMX_StateIdle);
    send(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 0);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "ahead of an earlier command";

    fresh();
    send(OMX_CommandFlush, OMX_ALL);
    complete(OMX_CommandFlush, 1);
    complete(OMX_CommandFlush, 0);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "the ports of an OMX_ALL answered output first";

    fresh();
    reach(OMX_StateIdle);
    send(OMX_CommandFlush, 0);
    send(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 0);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    model().deadline_passed();
    EXPECT_TRUE(flags(model(), zvx_seq_fault::hang)) << "a command answered once of two";

    fresh();
    complete(OMX_CommandFlush, 0);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorSameState), OMX_StateIdle);
    EXPECT_EQ(model().violations().size(), 2u) << "answers to no command: " << listed(model());

    fresh();
    const uint64_t id = model().command_sending(OMX_CommandStateSet, OMX_StateIdle);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInsufficientResources), OMX_StateIdle);
    model().command_sent(id, OMX_ErrorNone);
    EXPECT_TRUE(settled(model())) << "an answer before SendCommand returns counts: " << listed(model());
    const uint64_t refused = model().command_sending(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 0);
    model().command_sent(refused, OMX_ErrorBadParameter);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "an answer to a command SendCommand refused";

    fresh();
    // Invalid: a callback's Flush(0) is refused while SendCommand is yet to refuse the client's MarkBuffer(0).
    send(OMX_CommandStateSet, OMX_StateInvalid);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInvalidState), OMX_StateInvalid);
    const uint64_t mark = model().command_sending(OMX_CommandMarkBuffer, 0);
    send(OMX_CommandFlush, 0);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInvalidState), 0);
    model().command_sent(mark, OMX_ErrorNotImplemented);
    EXPECT_TRUE(settled(model())) << listed(model());

    // The client's StateSet(Loaded) is accepted but not yet recorded when a callback's PortDisable(1) and
    // StateSet(Loaded) are: the first refusal is the client's, ahead of the disable.
    fresh();
    const uint64_t client = model().command_sending(OMX_CommandStateSet, OMX_StateLoaded);
    const uint64_t returned_at = model().stamp();
    send(OMX_CommandPortDisable, 1);
    send(OMX_CommandStateSet, OMX_StateLoaded);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorSameState), OMX_StateLoaded);
    model().command_sent(client, OMX_ErrorNone, returned_at);
    complete(OMX_CommandPortDisable, 1);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorSameState), OMX_StateLoaded);
    EXPECT_TRUE(settled(model())) << listed(model());

    // The client's StateSet(Loaded) is queued before a callback's Flush(1) but returns after it.
    // Error(InsufficientResources, 1) fits either; only the flush's completion after it shows whose it was.
    fresh();
    const uint64_t to_loaded = model().command_sending(OMX_CommandStateSet, OMX_StateLoaded);
    send(OMX_CommandFlush, 1);
    model().command_sent(to_loaded, OMX_ErrorNone);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInsufficientResources), 1);
    complete(OMX_CommandFlush, 1);
    EXPECT_TRUE(settled(model())) << listed(model());

    fresh();
    reach(OMX_StateIdle);
    send(OMX_CommandStateSet, OMX_StateIdle);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorSameState), OMX_StateIdle);
    send(OMX_CommandStateSet, OMX_StateWaitForResources);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorIncorrectStateTransition),
                     OMX_StateWaitForResources);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    send(OMX_CommandStateSet, OMX_StateExecuting);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorIncorrectStateTransition), OMX_StateExecuting);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::forbidden_state)) << "Idle to Executing is allowed";

    fresh();
    reach(OMX_StateExecuting);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::forbidden_state)) << "Loaded to Executing";
    // Error(InvalidState, 0) answers StateSet(Invalid) even with a command on port 0 unanswered.
    send(OMX_CommandPortDisable, 0);
    send(OMX_CommandStateSet, OMX_StateInvalid);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInvalidState), OMX_StateInvalid);
    complete(OMX_CommandPortDisable, 0);
    EXPECT_TRUE(model().unanswered().empty()) << listed(model());

    fresh();
    send(OMX_CommandStateSet, OMX_StateInvalid);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInvalidState), OMX_StateInvalid);
    EXPECT_EQ(model().state(), OMX_StateInvalid);
    send(OMX_CommandFlush, OMX_ALL);
    model().on_event(OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInvalidState), OMX_ALL);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    EXPECT_TRUE(model().unanswered().empty()) << "one refusal of OMX_ALL answers both ports";
}

// Commands sent from callbacks while another thread is inside SendCommand: no fault in any of these.
TEST_F(ModelTest, OverlappingSendCommandsAreAnsweredInTheOrderTheyWereAccepted)
{
    const uint64_t first = model().command_sending(OMX_CommandFlush, 1);
    const uint64_t second = model().command_sending(OMX_CommandFlush, 0);
    model().command_sent(second, OMX_ErrorNone);
    model().command_sent(first, OMX_ErrorNone);
    complete(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 1);
    EXPECT_TRUE(model().violations().empty()) << listed(model());

    // The client's PortEnable(0) is still inside SendCommand while callbacks send and have answered
    // PortEnable(ALL) and another PortEnable(0): the first answers are the ALL's, which come together.
    const uint64_t client = model().command_sending(OMX_CommandPortEnable, 0);
    send(OMX_CommandPortEnable, OMX_ALL);
    send(OMX_CommandPortEnable, 0);
    complete(OMX_CommandPortEnable, 0);
    complete(OMX_CommandPortEnable, 1);
    complete(OMX_CommandPortEnable, 0);
    model().command_sent(client, OMX_ErrorNone);
    complete(OMX_CommandPortEnable, 0);
    EXPECT_TRUE(settled(model())) << listed(model());

    // The client's Flush(ALL) still inside SendCommand, a callback's Flush(0) accepted first behind it.
    const uint64_t all = model().command_sending(OMX_CommandFlush, OMX_ALL);
    send(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 1);
    model().command_sent(all, OMX_ErrorNone);
    complete(OMX_CommandFlush, 0);
    EXPECT_TRUE(settled(model())) << listed(model());

    // A callback's Flush(1) overlapping the client's Flush(ALL) is answered before the ALL begins.
    const uint64_t both = model().command_sending(OMX_CommandFlush, OMX_ALL);
    send(OMX_CommandFlush, 1);
    model().command_sent(both, OMX_ErrorNone);
    complete(OMX_CommandFlush, 1);
    complete(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 1);
    EXPECT_TRUE(settled(model())) << listed(model());

    // Accepted before the ALL was sent, a single port's command stays ahead of it.
    send(OMX_CommandPortDisable, 1);
    send(OMX_CommandPortDisable, OMX_ALL);
    complete(OMX_CommandPortDisable, 1);
    complete(OMX_CommandPortDisable, 0);
    complete(OMX_CommandPortDisable, 1);
    EXPECT_TRUE(settled(model())) << listed(model());

    // A PortDisable(ALL) completing inside its own SendCommand is ahead of the one its first answer's
    // callback sends, though that one is accepted first.
    const uint64_t outer = model().command_sending(OMX_CommandPortDisable, OMX_ALL);
    complete(OMX_CommandPortDisable, 0);
    send(OMX_CommandPortDisable, OMX_ALL);
    complete(OMX_CommandPortDisable, 1);
    model().command_sent(outer, OMX_ErrorNone);
    complete(OMX_CommandPortDisable, 0);
    complete(OMX_CommandPortDisable, 1);
    EXPECT_TRUE(settled(model())) << listed(model());

    // The client's PortDisable(0) returns; before its thread records that, a callback sends Flush(ALL)
    // and PortDisable(ALL): the order is when SendCommand returned, not when the model heard of it.
    fresh();
    const uint64_t disable = model().command_sending(OMX_CommandPortDisable, 0);
    const uint64_t disable_returned = model().stamp();
    send(OMX_CommandFlush, OMX_ALL);
    send(OMX_CommandPortDisable, OMX_ALL);
    model().command_sent(disable, OMX_ErrorNone, disable_returned);
    complete(OMX_CommandPortDisable, 0);
    complete(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 1);
    complete(OMX_CommandPortDisable, 0);
    complete(OMX_CommandPortDisable, 1);
    EXPECT_TRUE(settled(model())) << listed(model());

    // As above with the client's Flush(0), answered before its return is recorded: the answer goes to
    // the match that keeps the order though the other may still be unconfirmed.
    fresh();
    const uint64_t flush = model().command_sending(OMX_CommandFlush, 0);
    const uint64_t flush_returned = model().stamp();
    send(OMX_CommandPortDisable, OMX_ALL);
    send(OMX_CommandFlush, OMX_ALL);
    complete(OMX_CommandFlush, 0);
    model().command_sent(flush, OMX_ErrorNone, flush_returned);
    complete(OMX_CommandPortDisable, 0);
    complete(OMX_CommandPortDisable, 1);
    complete(OMX_CommandFlush, 0);
    complete(OMX_CommandFlush, 1);
    EXPECT_TRUE(settled(model())) << listed(model());

    // The client's PortDisable(ALL) is still inside SendCommand when a callback's PortDisable(ALL) is
    // accepted and answered, then a PortEnable(1) the callback sent after it; the client's completes
    // last. Between two alike commands the answer goes to the accepted one.
    fresh();
    const uint64_t inside = model().command_sending(OMX_CommandPortDisable, OMX_ALL);
    send(OMX_CommandPortDisable, OMX_ALL);
    complete(OMX_CommandPortDisable, 0);
    complete(OMX_CommandPortDisable, 1);
    send(OMX_CommandPortEnable, 1);
    complete(OMX_CommandPortEnable, 1);
    complete(OMX_CommandPortDisable, 0);
    complete(OMX_CommandPortDisable, 1);
    model().command_sent(inside, OMX_ErrorNone);
    EXPECT_TRUE(settled(model())) << listed(model());
}

TEST_F(ModelTest, BuffersComeBackOnceOnTheirPortBeforeTheirFreeIdleFlushAndDisable)
{
    execute();
    give(&input);
    returned(&input, 0);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    returned(&input, 0);
    EXPECT_EQ(doubled(model()), 1) << "returned twice";
    give(&output);
    returned(&output, 0);
    EXPECT_EQ(doubled(model()), 2) << "on the other port's callback";
    give(&input);
    freed(&input);
    EXPECT_EQ(doubled(model()), 2) << "a free of a held header may be accepted";
    returned(&input, 0);
    EXPECT_EQ(doubled(model()), 3) << "returned after its free";

    // A return before its give returns is no double.
    fresh();
    execute();
    uint64_t outer = model().give_starting(&output);
    returned(&output, 1);
    model().give_finished(&output, outer, OMX_ErrorNone, true);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    EXPECT_FALSE(model().held_by_component(&output));

    // The early return's callback gives the header again and is refused: the refusal is the inner call's.
    outer = model().give_starting(&output);
    model().buffer_done_entered(&output, 1);
    const uint64_t inner = model().give_starting(&output);
    model().give_finished(&output, inner, OMX_ErrorIncorrectStateOperation, true);
    model().buffer_done_left(&output);
    model().give_finished(&output, outer, OMX_ErrorNone, true);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    EXPECT_FALSE(model().held_by_component(&output));

    // The client's thread and a callback give at once: one is returned, the other refused, in any order.
    const uint64_t taken = model().give_starting(&output);
    const uint64_t refused = model().give_starting(&output);
    returned(&output, 1);
    model().give_finished(&output, refused, OMX_ErrorIncorrectStateOperation, true);
    model().give_finished(&output, taken, OMX_ErrorNone, true);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    EXPECT_FALSE(model().held_by_component(&output));

    outer = model().give_starting(&output);
    returned(&output, 1);
    model().give_finished(&output, outer, OMX_ErrorIncorrectStateOperation, true);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::doubled_buffer)) << "returned from a give that was refused";

    // Going Invalid: the return's callback gives again and is refused, finishing after the client's give.
    fresh();
    execute();
    send(OMX_CommandStateSet, OMX_StateInvalid);
    const uint64_t client_give = model().give_starting(&output);
    model().buffer_done_entered(&output, 1);
    const uint64_t callback_give = model().give_starting(&output);
    model().give_finished(&output, client_give, OMX_ErrorNone, true);
    model().give_finished(&output, callback_give, OMX_ErrorIncorrectStateOperation, true);
    model().buffer_done_left(&output);
    EXPECT_FALSE(flags(model(), zvx_seq_fault::doubled_buffer)) << listed(model());
    EXPECT_FALSE(model().held_by_component(&output));

    fresh();
    execute();
    give(&output);
    model().handle_freeing();
    returned(&output, 1);
    model().handle_freed();
    EXPECT_TRUE(model().violations().empty()) << "callbacks during FreeHandle are allowed";
    model().on_event(OMX_EventCmdComplete, OMX_CommandFlush, 0);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "a callback after FreeHandle";

    fresh();
    execute();
    give(&input);
    give(&output);
    send(OMX_CommandFlush, 1);
    complete(OMX_CommandFlush, 1);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::lost_buffer)) << "Flush(1) with an output held";

    fresh();
    send(OMX_CommandStateSet, OMX_StateIdle);
    model().buffer_registered(&input, 0);
    complete(OMX_CommandStateSet, OMX_StateIdle);
    reach(OMX_StateExecuting);
    give(&input);
    reach(OMX_StateIdle);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::lost_buffer)) << "Idle with an input held";

    fresh();
    execute();
    send(OMX_CommandFlush, 0);
    give(&input);
    complete(OMX_CommandFlush, 0);
    EXPECT_TRUE(model().violations().empty()) << "given after the flush was sent, it may stay";

    // Buffers still registered when Loaded or a disable completes are flagged, unless a command sent
    // later that takes them (Idle, the port's enable) had started by the time they were allocated.
    fresh();
    execute();
    send(OMX_CommandStateSet, OMX_StateIdle);
    freed(&input);
    complete(OMX_CommandStateSet, OMX_StateIdle);
    send(OMX_CommandStateSet, OMX_StateLoaded);
    freed(&output);
    send(OMX_CommandStateSet, OMX_StateIdle);
    model().buffer_registered(&input, 0);
    complete(OMX_CommandStateSet, OMX_StateLoaded);
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    send(OMX_CommandPortDisable, 1);
    model().buffer_registered(&output, 1);
    complete(OMX_CommandPortDisable, 1);
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "a buffer allocated before any enable was sent";
}

TEST_F(ModelTest, PortDefinitionsFollowTheClient)
{
    execute();
    OMX_PARAM_PORTDEFINITIONTYPE definition{};
    definition.nPortIndex = 1;
    definition.bEnabled = OMX_TRUE;
    definition.bPopulated = OMX_TRUE;
    definition.nBufferCountActual = 1;
    model().check_port_definition(definition, model().epoch());
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    definition.nBufferCountActual = 2;
    model().check_port_definition(definition, model().epoch());
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "populated with 1 of 2";

    fresh();
    send(OMX_CommandPortDisable, 1);
    complete(OMX_CommandPortDisable, 1);
    definition.bPopulated = OMX_FALSE;
    model().check_port_definition(definition, model().epoch());
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "enabled after a disable completed";

    fresh();
    const uint64_t before = model().epoch();
    send(OMX_CommandPortDisable, 1);
    complete(OMX_CommandPortDisable, 1);
    model().check_port_definition(definition, before);
    EXPECT_TRUE(model().violations().empty()) << "read while the port changed: not judged";

    // Idle completes with a disable of the port queued behind it: the disable, begun, may read unpopulated.
    fresh();
    send(OMX_CommandStateSet, OMX_StateIdle);
    send(OMX_CommandPortDisable, 1);
    model().buffer_registered(&output, 1);
    complete(OMX_CommandStateSet, OMX_StateIdle);
    definition.bEnabled = OMX_FALSE;
    definition.nBufferCountActual = 2;
    model().check_port_definition(definition, model().epoch());
    EXPECT_TRUE(model().violations().empty()) << listed(model());

    // Idle completes while the client's FreeBuffer of one of the port's buffers is under way.
    fresh();
    send(OMX_CommandStateSet, OMX_StateIdle);
    model().buffer_registered(&input, 1);
    model().buffer_registered(&output, 1);
    model().free_starting(&output);
    complete(OMX_CommandStateSet, OMX_StateIdle);
    model().free_finished(&output, OMX_ErrorNone);
    definition.bEnabled = OMX_TRUE;
    model().check_port_definition(definition, model().epoch());
    EXPECT_TRUE(model().violations().empty()) << listed(model());

    // The component raises the count with a new minimum, read before its PortSettingsChanged comes.
    fresh();
    definition.nBufferCountActual = 1;
    definition.nBufferCountMin = 1;
    model().check_port_definition(definition, model().epoch());
    send(OMX_CommandStateSet, OMX_StateIdle);
    model().buffer_registered(&output, 1);
    complete(OMX_CommandStateSet, OMX_StateIdle);
    definition.nBufferCountActual = 2;
    definition.nBufferCountMin = 2;
    model().check_port_definition(definition, model().epoch());
    EXPECT_TRUE(model().violations().empty()) << listed(model());

    fresh();
    execute();
    model().check_set_port_definition(0, true, OMX_ErrorIncorrectStateOperation, model().epoch());
    EXPECT_TRUE(model().violations().empty()) << listed(model());
    model().check_set_port_definition(0, true, OMX_ErrorNone, model().epoch());
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "a set on an enabled running port must be refused";

    // The count read back differs only with the component's settings change.
    fresh();
    OMX_PARAM_PORTDEFINITIONTYPE set{};
    set.nPortIndex = 1;
    set.nBufferCountMin = 5;
    set.nBufferCountActual = 12;
    OMX_PARAM_PORTDEFINITIONTYPE read = set;
    read.nBufferCountMin = 6;
    read.nBufferCountActual = 6;
    model().check_read_back(set, read, model().epoch());
    EXPECT_TRUE(model().violations().empty()) << "a new minimum, announced after the read";
    fresh();
    read.nBufferCountMin = 5;
    read.nBufferCountActual = 5;
    model().check_read_back(set, read, model().epoch());
    EXPECT_TRUE(flags(model(), zvx_seq_fault::other)) << "the client's count dropped without a settings change";
}

} // namespace
