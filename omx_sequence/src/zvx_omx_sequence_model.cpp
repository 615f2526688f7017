#include "zvx_omx_sequence_model.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <utility>

namespace {

constexpr OMX_U32 ZVXP_INPUT = 0;

bool zvxp_is_port_command(OMX_U32 command)
{
    return command == OMX_CommandFlush || command == OMX_CommandPortDisable || command == OMX_CommandPortEnable ||
           command == OMX_CommandMarkBuffer;
}

/* The errors with which a component refuses a command it accepted. */
bool zvxp_is_refusal(OMX_U32 error)
{
    switch (static_cast<OMX_ERRORTYPE>(error)) {
    case OMX_ErrorSameState:
    case OMX_ErrorIncorrectStateTransition:
    case OMX_ErrorInsufficientResources:
    case OMX_ErrorInvalidState:
        return true;
    default:
        return false;
    }
}

const char *zvxp_command_name(OMX_U32 command)
{
    switch (command) {
    case OMX_CommandStateSet:
        return "StateSet";
    case OMX_CommandFlush:
        return "Flush";
    case OMX_CommandPortDisable:
        return "PortDisable";
    case OMX_CommandPortEnable:
        return "PortEnable";
    case OMX_CommandMarkBuffer:
        return "MarkBuffer";
    default:
        return "Command?";
    }
}

const char *zvxp_error_name(OMX_U32 error)
{
    switch (static_cast<OMX_ERRORTYPE>(error)) {
    case OMX_ErrorSameState:
        return "SameState";
    case OMX_ErrorIncorrectStateTransition:
        return "IncorrectStateTransition";
    case OMX_ErrorInsufficientResources:
        return "InsufficientResources";
    case OMX_ErrorInvalidState:
        return "InvalidState";
    default:
        return "Error?";
    }
}

std::string zvxp_format(const char *format, auto... values)
{
    char text[400];
    (void)std::snprintf(text, sizeof(text), format, values...);
    return text;
}

const void *zvxp_address(const OMX_BUFFERHEADERTYPE *header)
{
    return header;
}

/* The command an answer goes to, and the earliest call among those it could answer. */
struct zvxp_answered {
    std::deque<zvx_seq_expected>::iterator entry;
    uint64_t earliest_sent_at;
};

/* The first command still unanswered that had to be answered before `command`: an earlier port of its
 * own OMX_ALL, or one accepted before it was sent; `command` itself when there is none. A command ahead
 * whose SendCommand has not returned may yet be refused there, and one whose SendCommand returned only
 * after this one's began overlapped it from another thread: neither orders it. */
std::deque<zvx_seq_expected>::iterator zvxp_owed_before(std::deque<zvx_seq_expected> &expected,
                                                        std::deque<zvx_seq_expected>::iterator command)
{
    return std::find_if(expected.begin(), command, [&](const zvx_seq_expected &entry) {
        return entry.id == command->id || (entry.confirmed && entry.confirmed_at < command->sent_at);
    });
}

/* How a refusal is named in a violation. */
std::string zvxp_refusal_text(OMX_ERRORTYPE error, OMX_U32 data2)
{
    return zvxp_format("Error(%s, 0x%x)", zvxp_error_name(error), static_cast<unsigned>(data2));
}

/* An Error event with data2 as the answer to the command entry. */
bool zvxp_refuses(OMX_ERRORTYPE error, OMX_U32 data2, const zvx_seq_expected &entry)
{
    if (entry.command == OMX_CommandStateSet) {
        return entry.param == data2;
    }
    // Same state and incorrect transition refuse state changes only.
    if (error == OMX_ErrorSameState || error == OMX_ErrorIncorrectStateTransition) {
        return false;
    }
    return entry.param == data2 || (data2 == OMX_ALL && entry.all_ports);
}

/* SendCommands from two threads overlap, so which of two matching commands the component queued first is
 * not always known. The answer goes to a match that may be next: none accepted before it was sent, and
 * none of its own ports before it unanswered. A match that leaves no command accepted before it
 * unanswered goes first, since the client may not yet have recorded that another match was accepted.
 * Then the answers of one OMX_ALL come together, port 0 first: a match whose port 0 has just been
 * answered goes first, then an OMX_ALL match, then a single port's, which may take any answer left. Among
 * matches alike in all that, the answers are interchangeable, and the one accepted first takes it: later
 * commands wait only for accepted ones, so answering an overlapping call's match first would leave an
 * accepted one looking unanswered. What the answer requires of the buffers dates from the earliest match. */
template <typename Matches> zvxp_answered zvxp_find_answered(std::deque<zvx_seq_expected> &expected, Matches matches)
{
    using iterator = std::deque<zvx_seq_expected>::iterator;
    const iterator first = std::find_if(expected.begin(), expected.end(), matches);
    const auto may_be_next = [&](const zvx_seq_expected &candidate) {
        return matches(candidate) && std::none_of(expected.begin(), expected.end(), [&](const zvx_seq_expected &other) {
                   const bool port_before = other.id == candidate.id && other.param < candidate.param;
                   const bool accepted_before =
                       matches(other) && other.confirmed && other.confirmed_at < candidate.sent_at;
                   return port_before || accepted_before;
               });
    };
    iterator entry = first;
    int best = INT_MAX;
    for (iterator candidate = first; candidate != expected.end(); ++candidate) {
        if (!may_be_next(*candidate)) {
            continue;
        }
        const int kind = candidate->all_ports ? (candidate->param != 0 ? 0 : 1) : 2;
        const int rank = (zvxp_owed_before(expected, candidate) == candidate ? 0 : 3) + kind;
        const bool accepted_sooner =
            candidate->confirmed && (!entry->confirmed || candidate->confirmed_at < entry->confirmed_at);
        if (rank < best || (rank == best && accepted_sooner)) {
            best = rank;
            entry = candidate;
        }
    }
    return {entry, entry != expected.end() ? std::min(first->sent_at, entry->sent_at) : 0};
}

} // namespace

const char *zvx_seq_fault_name(zvx_seq_fault fault)
{
    switch (fault) {
    case zvx_seq_fault::hang:
        return "hang";
    case zvx_seq_fault::lost_buffer:
        return "lost buffer";
    case zvx_seq_fault::doubled_buffer:
        return "doubled buffer";
    case zvx_seq_fault::forbidden_state:
        return "forbidden transition";
    case zvx_seq_fault::other:
        return "violation";
    }
    return "?";
}

const char *zvx_seq_state_name(OMX_U32 state)
{
    switch (state) {
    case OMX_StateInvalid:
        return "Invalid";
    case OMX_StateLoaded:
        return "Loaded";
    case OMX_StateIdle:
        return "Idle";
    case OMX_StateExecuting:
        return "Executing";
    case OMX_StatePause:
        return "Pause";
    case OMX_StateWaitForResources:
        return "WaitForResources";
    default:
        return "State?";
    }
}

std::string zvx_seq_describe_command(OMX_COMMANDTYPE command, OMX_U32 param)
{
    if (command == OMX_CommandStateSet) {
        return zvxp_format("StateSet(%s/0x%x)", zvx_seq_state_name(param), static_cast<unsigned>(param));
    }
    if (param == OMX_ALL) {
        return zvxp_format("%s(ALL)", zvxp_command_name(command));
    }
    return zvxp_format("%s(%u)", zvxp_command_name(command), static_cast<unsigned>(param));
}

bool zvx_seq_transition_allowed(OMX_STATETYPE from, OMX_U32 to)
{
    if (from == OMX_StateInvalid) {
        return false;
    }
    if (to == OMX_StateInvalid) {
        return true;
    }
    switch (from) {
    case OMX_StateLoaded:
        return to == OMX_StateIdle || to == OMX_StateWaitForResources;
    case OMX_StateIdle:
        return to == OMX_StateLoaded || to == OMX_StateExecuting || to == OMX_StatePause;
    case OMX_StateExecuting:
        return to == OMX_StateIdle || to == OMX_StatePause;
    case OMX_StatePause:
        return to == OMX_StateIdle || to == OMX_StateExecuting;
    case OMX_StateWaitForResources:
        return to == OMX_StateLoaded || to == OMX_StateIdle;
    default:
        return false;
    }
}

void zvx_seq_model::violate(zvx_seq_fault fault, std::string text)
{
    // A fault seen again at every later check says nothing new.
    const bool known = std::any_of(violations_.begin(), violations_.end(), [&](const zvx_seq_violation &seen) {
        return seen.fault == fault && seen.text == text;
    });
    if (!known) {
        violations_.push_back({fault, std::move(text)});
    }
}

void zvx_seq_model::note(zvx_seq_fault fault, std::string text)
{
    violate(fault, std::move(text));
}

bool zvx_seq_model::counts(zvx_seq_fault fault) const
{
    return std::any_of(violations_.begin(), violations_.end(),
                       [fault](const zvx_seq_violation &violation) { return violation.fault == fault; });
}

uint64_t zvx_seq_model::command_sending(OMX_COMMANDTYPE command, OMX_U32 param)
{
    const uint64_t id = ++next_command_;
    const uint64_t now = tick();
    ++epoch_;
    const bool all_ports = zvxp_is_port_command(command) && command != OMX_CommandMarkBuffer && param == OMX_ALL;
    if (all_ports) {
        for (OMX_U32 port = 0; port < PORT_COUNT; ++port) {
            expected_.push_back({command, port, id, now, 0, false, true});
        }
    } else {
        expected_.push_back({command, param, id, now, 0, false, false});
    }
    // A port the client sends a command to is no longer held to what an earlier command left it at.
    for (OMX_U32 port = 0; port < PORT_COUNT; ++port) {
        if (command != OMX_CommandStateSet && (param == port || all_ports)) {
            forget_requirement(port);
        }
    }
    return id;
}

void zvx_seq_model::command_sent(uint64_t id, OMX_ERRORTYPE result, uint64_t returned_at)
{
    ++epoch_;
    const auto early = answered_early_.find(id);
    const int answered = early != answered_early_.end() ? early->second : 0;
    if (early != answered_early_.end()) {
        answered_early_.erase(early);
    }
    if (result == OMX_ErrorNone) {
        for (zvx_seq_expected &entry : expected_) {
            if (entry.id == id) {
                entry.confirmed = true;
                entry.confirmed_at = returned_at;
            }
        }
        return;
    }
    std::erase_if(expected_, [id](const zvx_seq_expected &entry) { return entry.id == id; });
    if (answered != 0) {
        violate(zvx_seq_fault::other,
                zvxp_format("a command SendCommand refused (0x%x) was answered anyway", static_cast<unsigned>(result)));
    }
}

std::optional<zvx_seq_expected> zvx_seq_model::head() const
{
    if (expected_.empty()) {
        return std::nullopt;
    }
    return expected_.front();
}

std::vector<zvx_seq_expected> zvx_seq_model::heads() const
{
    std::vector<zvx_seq_expected> heads;
    for (const zvx_seq_expected &entry : expected_) {
        if (!heads.empty() && heads.front().confirmed && heads.front().confirmed_at < entry.sent_at) {
            break;
        }
        heads.push_back(entry);
    }
    return heads;
}

bool zvx_seq_model::state_change_pending() const
{
    return std::any_of(expected_.begin(), expected_.end(),
                       [](const zvx_seq_expected &entry) { return entry.command == OMX_CommandStateSet; });
}

bool zvx_seq_model::port_command_pending(OMX_U32 port) const
{
    return std::any_of(expected_.begin(), expected_.end(), [port](const zvx_seq_expected &entry) {
        return (entry.command == OMX_CommandPortEnable || entry.command == OMX_CommandPortDisable) &&
               entry.param == port;
    });
}

bool zvx_seq_model::freeing_on(OMX_U32 port) const
{
    return std::any_of(buffers_.begin(), buffers_.end(),
                       [port](const auto &entry) { return entry.second.port == port && entry.second.freeing; });
}

size_t zvx_seq_model::client_count(OMX_U32 port) const
{
    return static_cast<size_t>(std::count_if(buffers_.begin(), buffers_.end(), [port](const auto &entry) {
        return entry.second.port == port && !entry.second.freeing;
    }));
}

size_t zvx_seq_model::client_count_owed(OMX_U32 port, const zvx_seq_expected &command) const
{
    uint64_t taken_from = UINT64_MAX;
    for (const zvx_seq_expected &later : expected_) {
        const bool lets_in = command.command == OMX_CommandStateSet
                                 ? later.command == OMX_CommandStateSet && later.param == OMX_StateIdle
                                 : later.command == OMX_CommandPortEnable && later.param == port;
        if (lets_in && later.sent_at > command.sent_at) {
            taken_from = std::min(taken_from, later.sent_at);
        }
    }
    return static_cast<size_t>(std::count_if(buffers_.begin(), buffers_.end(), [&](const auto &entry) {
        return entry.second.port == port && !entry.second.freeing && entry.second.registered_at < taken_from;
    }));
}

size_t zvx_seq_model::with_component(OMX_U32 port) const
{
    return static_cast<size_t>(std::count_if(buffers_.begin(), buffers_.end(), [port](const auto &entry) {
        return entry.second.port == port && (entry.second.outstanding > 0 || !entry.second.giving.empty());
    }));
}

bool zvx_seq_model::held_by_component(const OMX_BUFFERHEADERTYPE *header) const
{
    const auto found = buffers_.find(header);
    return found != buffers_.end() && (found->second.outstanding > 0 || !found->second.giving.empty());
}

std::deque<zvx_seq_expected>::iterator zvx_seq_model::take(const std::deque<zvx_seq_expected>::iterator &found,
                                                           const std::string &answer)
{
    const auto ahead = zvxp_owed_before(expected_, found);
    if (ahead != found) {
        violate(zvx_seq_fault::other, zvxp_format("%s answered before %s, which was sent first", answer.c_str(),
                                                  zvx_seq_describe_command(ahead->command, ahead->param).c_str()));
    }
    if (!found->confirmed) {
        ++answered_early_[found->id];
    }
    return found;
}

void zvx_seq_model::on_event(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2)
{
    ++epoch_;
    ++progress_;
    if (handle_freed_) {
        violate(zvx_seq_fault::other,
                zvxp_format("event 0x%x (0x%x, 0x%x) after FreeHandle returned", static_cast<unsigned>(event),
                            static_cast<unsigned>(data1), static_cast<unsigned>(data2)));
        return;
    }
    switch (event) {
    case OMX_EventCmdComplete:
        on_complete(data1, data2);
        break;
    case OMX_EventError:
        if (zvxp_is_refusal(data1)) {
            on_refusal(static_cast<OMX_ERRORTYPE>(data1), data2);
        }
        break;
    case OMX_EventPortSettingsChanged:
        if (data1 < PORT_COUNT) {
            component_changed_settings(data1);
        }
        break;
    default:
        break;
    }
}

void zvx_seq_model::on_complete(OMX_U32 command, OMX_U32 param)
{
    const std::string answer =
        "CmdComplete(" + zvx_seq_describe_command(static_cast<OMX_COMMANDTYPE>(command), param) + ")";
    const auto matches = [&](const zvx_seq_expected &entry) {
        return static_cast<OMX_U32>(entry.command) == command && entry.param == param;
    };
    zvxp_answered answered = zvxp_find_answered(expected_, matches);
    if (answered.entry == expected_.end() && refusal_was_another_commands(command, param)) {
        answered = zvxp_find_answered(expected_, matches);
    }
    last_refusal_.reset();
    const auto found = answered.entry;
    if (found == expected_.end()) {
        violate(zvx_seq_fault::other, answer + " answers no unanswered command");
        if (command == OMX_CommandStateSet) {
            // The component is where it says, whatever was asked: later checks start from there.
            completed_state(param, {OMX_CommandStateSet, param, 0, clock_, clock_, true, false});
        }
        return;
    }
    zvx_seq_expected entry = *take(found, answer);
    entry.sent_at = answered.earliest_sent_at;
    expected_.erase(found);
    if (command == OMX_CommandStateSet) {
        completed_state(param, entry);
    } else {
        completed_port_command(entry);
    }
}

bool zvx_seq_model::refusal_was_another_commands(OMX_U32 command, OMX_U32 param)
{
    if (!last_refusal_ || static_cast<OMX_U32>(last_refusal_->taken.command) != command ||
        last_refusal_->taken.param != param) {
        return false;
    }
    const refusal refused = *last_refusal_;
    const auto others = [&](const zvx_seq_expected &entry) {
        return entry.id != refused.taken.id && zvxp_refuses(refused.error, refused.data2, entry);
    };
    if (zvxp_find_answered(expected_, others).entry == expected_.end()) {
        return false;
    }
    // The command the refusal was given to is owed its answer again, in the place it was sent.
    expected_.insert(std::find_if(expected_.begin(), expected_.end(),
                                  [&](const zvx_seq_expected &entry) { return entry.sent_at > refused.taken.sent_at; }),
                     refused.taken);
    const auto other = zvxp_find_answered(expected_, others).entry;
    const zvx_seq_expected entry = *take(other, zvxp_refusal_text(refused.error, refused.data2));
    expected_.erase(other);
    if (entry.command == OMX_CommandStateSet) {
        refused_state(refused.error, entry.param);
    }
    return true;
}

void zvx_seq_model::completed_state(OMX_U32 target, const zvx_seq_expected &command)
{
    const OMX_STATETYPE from = state_;
    if (!zvx_seq_transition_allowed(from, target)) {
        violate(zvx_seq_fault::forbidden_state,
                zvxp_format("CmdComplete(StateSet(%s)) from %s", zvx_seq_state_name(target), zvx_seq_state_name(from)));
    }
    state_ = static_cast<OMX_STATETYPE>(target);
    const std::string what = zvxp_format("%s completed", zvx_seq_state_name(target));
    switch (target) {
    case OMX_StateIdle:
        if (from == OMX_StateExecuting || from == OMX_StatePause) {
            // Buffers given after the client asked for Idle may have come in after the component
            // returned the rest; all those given before must be back.
            for (OMX_U32 port = 0; port < PORT_COUNT; ++port) {
                require_back(port, command.sent_at, what);
            }
        } else if (from == OMX_StateLoaded || from == OMX_StateWaitForResources) {
            // A port command sent meanwhile, run next, may change the port before the client reads it, and
            // so may a free the client began before it heard of the completion.
            for (OMX_U32 port = 0; port < PORT_COUNT; ++port) {
                requires_populated_[port] = enabled_[port] && !port_command_pending(port) && !freeing_on(port);
            }
        }
        break;
    case OMX_StateLoaded:
        for (OMX_U32 port = 0; port < PORT_COUNT; ++port) {
            require_back(port, clock_ + 1, what);
            forget_requirement(port);
            if (const size_t owed = client_count_owed(port, command); owed != 0) {
                violate(zvx_seq_fault::other, zvxp_format("%s while the client still has %zu buffer(s) on port %u",
                                                          what.c_str(), owed, static_cast<unsigned>(port)));
            }
        }
        break;
    default:
        break;
    }
}

void zvx_seq_model::completed_port_command(const zvx_seq_expected &command)
{
    const OMX_U32 port = command.param;
    const std::string what = zvx_seq_describe_command(command.command, port) + " completed";
    if (port >= PORT_COUNT) {
        return;
    }
    if (command.command == OMX_CommandPortEnable || command.command == OMX_CommandPortDisable) {
        diverged_[port] = false;
    }
    switch (command.command) {
    case OMX_CommandFlush:
        require_back(port, command.sent_at, what);
        break;
    case OMX_CommandPortDisable:
        // A disabled port holds nothing, whenever it was given.
        require_back(port, clock_ + 1, what);
        if (const size_t owed = client_count_owed(port, command); owed != 0) {
            violate(zvx_seq_fault::other,
                    zvxp_format("%s while the client still has %zu buffer(s) on it", what.c_str(), owed));
        }
        enabled_[port] = false;
        settings_changed_[port] = false;
        break;
    case OMX_CommandPortEnable:
        enabled_[port] = true;
        if (state_ != OMX_StateLoaded && state_ != OMX_StateWaitForResources && state_ != OMX_StateInvalid) {
            if (client_count(port) == 0) {
                violate(zvx_seq_fault::other, zvxp_format("%s in %s with no buffer allocated on it", what.c_str(),
                                                          zvx_seq_state_name(state_)));
            }
            requires_populated_[port] = true;
        }
        break;
    default:
        break;
    }
}

void zvx_seq_model::on_refusal(OMX_ERRORTYPE error, OMX_U32 data2)
{
    const std::string answer = zvxp_refusal_text(error, data2);
    // The first Error(InvalidState, 0) of a component not yet invalid is how StateSet(Invalid) is
    // answered, not a refusal of a command on port 0 that happens to come first.
    const auto to_invalid = std::find_if(expected_.begin(), expected_.end(), [&](const zvx_seq_expected &entry) {
        return entry.command == OMX_CommandStateSet && entry.param == OMX_StateInvalid;
    });
    const bool becomes_invalid = error == OMX_ErrorInvalidState && data2 == OMX_StateInvalid &&
                                 state_ != OMX_StateInvalid && to_invalid != expected_.end();
    const auto refuses = [&](const zvx_seq_expected &entry) { return zvxp_refuses(error, data2, entry); };
    // Of several matches, the refusal goes to one that keeps the order, as a completion does: the first
    // may still be inside SendCommand, which may yet refuse it (a MarkBuffer the component lacks).
    const auto found = becomes_invalid ? to_invalid : zvxp_find_answered(expected_, refuses).entry;
    if (found == expected_.end()) {
        if (error == OMX_ErrorInvalidState) {
            state_ = OMX_StateInvalid; // a component may find itself invalid and say so at any time
        } else {
            violate(zvx_seq_fault::other, answer + " refuses no unanswered command");
        }
        return;
    }
    const zvx_seq_expected entry = *take(found, answer);
    last_refusal_.reset();
    if (error != OMX_ErrorInvalidState && !entry.all_ports && entry.confirmed) {
        last_refusal_ = refusal{entry, error, data2};
    }
    if (data2 == OMX_ALL && entry.all_ports) {
        // One refusal of a whole OMX_ALL command answers it for every port.
        std::erase_if(expected_, [&](const zvx_seq_expected &other) { return other.id == entry.id; });
    } else {
        expected_.erase(found);
    }
    if (entry.command == OMX_CommandStateSet) {
        refused_state(error, entry.param);
    } else if (error == OMX_ErrorInvalidState) {
        state_ = OMX_StateInvalid;
    }
}

void zvx_seq_model::refused_state(OMX_ERRORTYPE error, OMX_U32 target)
{
    const OMX_STATETYPE from = state_;
    if (error == OMX_ErrorInvalidState) {
        // The answer to StateSet(Invalid), or to any command once the component is invalid.
        state_ = OMX_StateInvalid;
        return;
    }
    if (error == OMX_ErrorSameState && target != static_cast<OMX_U32>(from)) {
        violate(zvx_seq_fault::forbidden_state, zvxp_format("StateSet(%s) refused as the same state while in %s",
                                                            zvx_seq_state_name(target), zvx_seq_state_name(from)));
    }
    if (error == OMX_ErrorIncorrectStateTransition && zvx_seq_transition_allowed(from, target)) {
        violate(zvx_seq_fault::forbidden_state, zvxp_format("StateSet(%s) refused as an incorrect transition from %s",
                                                            zvx_seq_state_name(target), zvx_seq_state_name(from)));
    }
}

void zvx_seq_model::require_back(OMX_U32 port, uint64_t given_before, const std::string &command)
{
    for (const auto &[header, entry] : buffers_) {
        if (entry.port == port && entry.outstanding > 0 && entry.accepted_at < given_before) {
            violate(zvx_seq_fault::lost_buffer,
                    zvxp_format("%s while the component still holds buffer %p of port %u", command.c_str(),
                                zvxp_address(header), static_cast<unsigned>(port)));
        }
    }
}

void zvx_seq_model::buffer_registered(const OMX_BUFFERHEADERTYPE *header, OMX_U32 port)
{
    freed_.erase(header);
    const auto [where, added] = buffers_.try_emplace(header, buffer{port, 0, {}, 0, 0, 0, false, 0, 0, clock_});
    if (!added) {
        violate(zvx_seq_fault::other,
                zvxp_format("a new buffer came back as header %p, which the client still has", zvxp_address(header)));
        where->second = buffer{port, 0, {}, 0, 0, 0, false, 0, 0, clock_};
    }
}

void zvx_seq_model::free_starting(const OMX_BUFFERHEADERTYPE *header)
{
    const auto found = buffers_.find(header);
    if (found != buffers_.end()) {
        found->second.freeing = true;
        forget_requirement(found->second.port);
    }
}

void zvx_seq_model::free_finished(const OMX_BUFFERHEADERTYPE *header, OMX_ERRORTYPE result)
{
    const auto found = buffers_.find(header);
    if (found == buffers_.end()) {
        if (result == OMX_ErrorNone) {
            violate(zvx_seq_fault::other,
                    zvxp_format("FreeBuffer of %p, no header of this client, was accepted", zvxp_address(header)));
        }
        return;
    }
    buffer &entry = found->second;
    if (result != OMX_ErrorNone) {
        entry.freeing = false;
        return;
    }
    if (entry.in_callback > 0) {
        violate(zvx_seq_fault::doubled_buffer,
                zvxp_format("FreeBuffer of %p accepted while a callback was handing it back", zvxp_address(header)));
    }
    // A free the component accepts of a header it holds is its promise never to hand that header back.
    freed_[header] = entry.outstanding > 0 || !entry.giving.empty();
    buffers_.erase(found);
}

uint64_t zvx_seq_model::give_starting(const OMX_BUFFERHEADERTYPE *header)
{
    const uint64_t serial = tick();
    const auto found = buffers_.find(header);
    if (found != buffers_.end()) {
        if (found->second.giving.empty()) {
            found->second.give_epoch = epoch_;
        }
        found->second.giving.push_back(serial);
    }
    return serial;
}

void zvx_seq_model::give_finished(const OMX_BUFFERHEADERTYPE *header, uint64_t serial, OMX_ERRORTYPE result,
                                  bool well_formed)
{
    const auto found = buffers_.find(header);
    if (found == buffers_.end()) {
        if (result == OMX_ErrorNone) {
            violate(zvx_seq_fault::other,
                    zvxp_format("a buffer call with %p, no header of this client, was accepted", zvxp_address(header)));
        }
        return;
    }
    buffer &entry = found->second;
    const bool held_before = entry.outstanding > 0;
    std::erase(entry.giving, serial);
    // An early return is a give's that had started when it came: never one made from its callback, which
    // may finish before or after it, on another thread than the give it answers.
    const bool owns_early_return = entry.early_returns > 0 && serial <= entry.early_owner_up_to;
    if (result != OMX_ErrorNone) {
        // Gives of one header from two threads overlap: a refused one leaves the return to the other.
        const bool other_owner = std::any_of(entry.giving.begin(), entry.giving.end(),
                                             [&](uint64_t other) { return other <= entry.early_owner_up_to; });
        if (owns_early_return && !other_owner) {
            --entry.early_returns;
            violate(zvx_seq_fault::doubled_buffer,
                    zvxp_format("buffer %p came back from a call that refused it", zvxp_address(header)));
        }
        // A header the client holds, well formed, on an enabled port of an idle, executing or paused
        // component with no command outstanding: nothing allows a refusal.
        // Judged as of the call's start: a command completing while it runs may have changed the answer.
        const bool steady = expected_.empty() && entry.give_epoch == epoch_ && enabled_[entry.port] &&
                            !settings_changed_[entry.port] && !diverged_[entry.port] &&
                            (state_ == OMX_StateIdle || state_ == OMX_StateExecuting || state_ == OMX_StatePause);
        if (steady && well_formed && !held_before && entry.giving.empty() && !entry.freeing &&
            result == OMX_ErrorIncorrectStateOperation) {
            violate(zvx_seq_fault::other, zvxp_format("buffer %p, held by the client, was refused in %s",
                                                      zvxp_address(header), zvx_seq_state_name(state_)));
        }
        return;
    }
    entry.accepted_at = tick();
    if (owns_early_return) {
        --entry.early_returns; // given and already back
        return;
    }
    ++entry.outstanding;
    const bool disabled = !enabled_[entry.port] && !port_command_pending(entry.port);
    const bool not_running =
        (state_ == OMX_StateLoaded || state_ == OMX_StateWaitForResources) && !state_change_pending();
    if (disabled || not_running) {
        violate(zvx_seq_fault::other,
                zvxp_format("buffer %p accepted on %s port %u in %s", zvxp_address(header), disabled ? "disabled" : "a",
                            static_cast<unsigned>(entry.port), zvx_seq_state_name(state_)));
    }
}

void zvx_seq_model::buffer_done_entered(const OMX_BUFFERHEADERTYPE *header, OMX_U32 callback_port)
{
    ++progress_;
    const char *callback = callback_port == ZVXP_INPUT ? "EmptyBufferDone" : "FillBufferDone";
    if (handle_freed_) {
        violate(zvx_seq_fault::other, zvxp_format("%s(%p) after FreeHandle returned", callback, zvxp_address(header)));
        return;
    }
    const auto found = buffers_.find(header);
    if (found == buffers_.end()) {
        const auto freed = freed_.find(header);
        if (freed != freed_.end()) {
            violate(zvx_seq_fault::doubled_buffer,
                    zvxp_format("%s(%p): a header the component freed%s", callback, zvxp_address(header),
                                freed->second ? " while it held it" : ""));
        } else if (!handle_freeing_) {
            violate(zvx_seq_fault::doubled_buffer,
                    zvxp_format("%s(%p): no header of this client", callback, zvxp_address(header)));
        }
        return;
    }
    buffer &entry = found->second;
    ++entry.in_callback;
    if (entry.port != callback_port) {
        violate(zvx_seq_fault::doubled_buffer, zvxp_format("%s(%p): a header of port %u", callback,
                                                           zvxp_address(header), static_cast<unsigned>(entry.port)));
        return;
    }
    if (entry.outstanding > 0) {
        --entry.outstanding;
    } else if (!entry.giving.empty()) {
        ++entry.early_returns;
        entry.early_owner_up_to = clock_;
    } else {
        violate(zvx_seq_fault::doubled_buffer,
                zvxp_format("%s(%p): the client already holds it", callback, zvxp_address(header)));
    }
}

void zvx_seq_model::buffer_done_left(const OMX_BUFFERHEADERTYPE *header)
{
    const auto found = buffers_.find(header);
    if (found != buffers_.end() && found->second.in_callback > 0) {
        --found->second.in_callback;
    }
}

void zvx_seq_model::check_port_definition(const OMX_PARAM_PORTDEFINITIONTYPE &definition, uint64_t epoch_before)
{
    const OMX_U32 port = definition.nPortIndex;
    if (epoch_before != epoch_ || port >= PORT_COUNT || state_ == OMX_StateInvalid) {
        return;
    }
    // The component changes a definition before it tells of the change: a new minimum read before the
    // PortSettingsChanged that follows is that change.
    if (last_min_[port] != 0 && definition.nBufferCountMin != last_min_[port]) {
        component_changed_settings(port);
    }
    last_min_[port] = definition.nBufferCountMin;
    const size_t count = client_count(port);
    if (!port_command_pending(port) && (definition.bEnabled != OMX_FALSE) != enabled_[port]) {
        diverged_[port] = true;
        violate(zvx_seq_fault::other, zvxp_format("port %u reads bEnabled=%d, but the last port command left it %s",
                                                  static_cast<unsigned>(port), static_cast<int>(definition.bEnabled),
                                                  enabled_[port] ? "enabled" : "disabled"));
    }
    const bool populated = definition.bPopulated != OMX_FALSE;
    if (count == 0 && populated) {
        violate(zvx_seq_fault::other,
                zvxp_format("port %u reads bPopulated=1 with no buffer allocated", static_cast<unsigned>(port)));
    } else if (count != 0 && !settings_changed_[port] && populated != (count >= definition.nBufferCountActual)) {
        violate(zvx_seq_fault::other,
                zvxp_format("port %u reads bPopulated=%d with %zu of nBufferCountActual=%u buffers",
                            static_cast<unsigned>(port), static_cast<int>(populated), count,
                            static_cast<unsigned>(definition.nBufferCountActual)));
    } else if (requires_populated_[port] && (!populated || count != definition.nBufferCountActual)) {
        violate(zvx_seq_fault::other,
                zvxp_format("port %u was completed with %zu of nBufferCountActual=%u buffers (bPopulated=%d)",
                            static_cast<unsigned>(port), count, static_cast<unsigned>(definition.nBufferCountActual),
                            static_cast<int>(populated)));
    }
    // One report of an unpopulated completion is enough.
    forget_requirement(port);
}

void zvx_seq_model::check_state(OMX_STATETYPE read, uint64_t epoch_before)
{
    if (epoch_before != epoch_ || state_change_pending() || read == state_) {
        return;
    }
    violate(zvx_seq_fault::forbidden_state, zvxp_format("GetState reads %s, but the last completed state is %s",
                                                        zvx_seq_state_name(read), zvx_seq_state_name(state_)));
}

void zvx_seq_model::check_set_port_definition(OMX_U32 port, bool well_formed, OMX_ERRORTYPE result,
                                              uint64_t epoch_before)
{
    if (result != OMX_ErrorNone || port >= PORT_COUNT) {
        return;
    }
    if (!well_formed) {
        violate(zvx_seq_fault::other, zvxp_format("SetParameter(PortDefinition) of port %u accepted a record of "
                                                  "the wrong size or version",
                                                  static_cast<unsigned>(port)));
        return;
    }
    // The client's own change may move the minimum: the next read learns it afresh.
    last_min_[port] = 0;
    const bool running = state_ == OMX_StateIdle || state_ == OMX_StateExecuting || state_ == OMX_StatePause;
    if (epoch_before == epoch_ && running && !state_change_pending() && enabled_[port] && !port_command_pending(port)) {
        violate(zvx_seq_fault::other, zvxp_format("SetParameter(PortDefinition) accepted on enabled port %u in %s",
                                                  static_cast<unsigned>(port), zvx_seq_state_name(state_)));
    }
}

void zvx_seq_model::check_read_back(const OMX_PARAM_PORTDEFINITIONTYPE &set, const OMX_PARAM_PORTDEFINITIONTYPE &read,
                                    uint64_t epoch_before)
{
    const OMX_U32 port = set.nPortIndex;
    const OMX_U32 count_set = set.nBufferCountActual;
    const OMX_U32 count_read = read.nBufferCountActual;
    if (epoch_before != epoch_ || port >= PORT_COUNT || settings_changed_[port] || count_set == count_read) {
        return;
    }
    // A new minimum is the component's settings change, made after the set and read before its
    // PortSettingsChanged arrives: the count follows it.
    if (read.nBufferCountMin != set.nBufferCountMin) {
        component_changed_settings(port);
        return;
    }
    violate(zvx_seq_fault::other,
            zvxp_format("port %u accepted nBufferCountActual=%u but reads back %u", static_cast<unsigned>(port),
                        static_cast<unsigned>(count_set), static_cast<unsigned>(count_read)));
}

void zvx_seq_model::handle_freed()
{
    handle_freed_ = true;
    expected_.clear();
    buffers_.clear();
    freed_.clear();
}

void zvx_seq_model::deadline_passed()
{
    for (const zvx_seq_expected &entry : expected_) {
        if (entry.confirmed) {
            violate(zvx_seq_fault::hang, zvx_seq_describe_command(entry.command, entry.param) + " was never answered");
        }
    }
}

void zvx_seq_model::check_everything_back()
{
    for (const auto &[header, entry] : buffers_) {
        if (entry.outstanding > 0) {
            violate(zvx_seq_fault::lost_buffer, zvxp_format("buffer %p of port %u never came back",
                                                            zvxp_address(header), static_cast<unsigned>(entry.port)));
        }
    }
}
