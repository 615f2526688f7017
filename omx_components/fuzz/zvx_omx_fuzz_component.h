// A decoder or encoder built as its init builds it, but without starting its command thread: the
// fuzzer's own thread plays that thread's part, so every command, session event and set runs on one
// thread in input order and an input replays the same way every time (and no thread is started and
// joined per input, which would cost more than the input itself).
#ifndef ZVX_OMX_FUZZ_COMPONENT_H
#define ZVX_OMX_FUZZ_COMPONENT_H

#include <OMX_Component.h>

#include <cstddef>
#include <cstdint>

#include "zvx_omx_common_component.h"

/* Every message of the component's log group, at every severity, is formatted and then dropped: the
 * log calls' arguments are fuzzed too, without the output. */
void zvx_fuzz_log_formatted_and_dropped();

/* The first byte of every input: bit 0 encoder, bits 1-2 the state to reach (Loaded, Idle, Executing,
 * Pause), bit 3 both ports disabled (always so beyond Loaded, where no buffers are given), bits 4-7
 * the role, an index into the kind's enabled roles. */
struct zvx_fuzz_setup {
    bool encoder;
    OMX_STATETYPE state;
    bool ports_disabled;
    unsigned role;
};
zvx_fuzz_setup zvx_fuzz_setup_from(uint8_t byte);

/* Builds the component and takes it where the setup says through the client's own commands, with the
 * session's answers; null when init fails. */
OMX_COMPONENTTYPE *zvx_fuzz_component_create(const zvx_fuzz_setup &setup);
zvx_omx_common_component *zvx_fuzz_component_record();
/* Hands the event to dispatch as the command thread would, then runs what it queued. */
void zvx_fuzz_component_deliver(const struct zvx_base_event_header *event);
/* Runs queued commands as the command thread would, at most `rounds` of them. One that is not done
 * goes back to the queue and ends the run: it waits for something, which only the input can bring. */
void zvx_fuzz_component_run_queued(unsigned rounds);
/* Destroying frees whatever is still queued. */
void zvx_fuzz_component_destroy();

#endif
