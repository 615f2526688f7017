// The core as a client meets it: loaded with dlopen and reached only through the symbols it exports.
#include <gtest/gtest.h>

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char *DECODER = "OMX.DHQ.video.k7nn.decoder";
constexpr const char *ENCODER = "OMX.DHQ.video.k7nn.encoder";

struct core_api {
    decltype(&OMX_Init) init;
    decltype(&OMX_Deinit) deinit;
    decltype(&OMX_ComponentNameEnum) name_enum;
    decltype(&OMX_GetHandle) get_handle;
    decltype(&OMX_FreeHandle) free_handle;
    decltype(&OMX_SetupTunnel) setup_tunnel;
    decltype(&OMX_GetComponentsOfRole) components_of_role;
    decltype(&OMX_GetRolesOfComponent) roles_of_component;
};

/* Records EventHandler calls; buffers come back through callbacks these tests never wait on. */
class event_log {
public:
    struct event {
        OMX_EVENTTYPE type;
        OMX_U32 data1;
        OMX_U32 data2;
        bool operator==(const event &) const = default;
    };

    OMX_CALLBACKTYPE callbacks = {on_event, on_buffer, on_buffer};

    bool wait_for(const event &expected)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [&] {
            for (const event &seen : events_) {
                if (seen == expected)
                    return true;
            }
            return false;
        });
    }

    std::vector<event> events()
    {
        std::lock_guard lock(mutex_);
        return events_;
    }

private:
    static OMX_ERRORTYPE on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE type, OMX_U32 data1, OMX_U32 data2,
                                  OMX_PTR)
    {
        auto *log = static_cast<event_log *>(app_data);
        {
            std::lock_guard lock(log->mutex_);
            log->events_.push_back({type, data1, data2});
        }
        log->changed_.notify_all();
        return OMX_ErrorNone;
    }

    static OMX_ERRORTYPE on_buffer(OMX_HANDLETYPE, OMX_PTR, OMX_BUFFERHEADERTYPE *) { return OMX_ErrorNone; }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<event> events_; /* mutex_ */
};

event_log::event state_reached(OMX_STATETYPE state)
{
    return {OMX_EventCmdComplete, OMX_CommandStateSet, static_cast<OMX_U32>(state)};
}

template <typename Record> Record client_record(OMX_U32 port = 0)
{
    Record record;
    std::memset(&record, 0, sizeof(record));
    record.nSize = sizeof(record);
    record.nVersion.s.nVersionMajor = 1;
    record.nVersion.s.nVersionMinor = 1;
    record.nVersion.s.nRevision = 2;
    if constexpr (requires { record.nPortIndex; })
        record.nPortIndex = port;
    return record;
}

OMX_PARAM_PORTDEFINITIONTYPE port_definition(OMX_HANDLETYPE handle, OMX_U32 port)
{
    auto definition = client_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
    EXPECT_EQ(OMX_GetParameter(handle, OMX_IndexParamPortDefinition, &definition), OMX_ErrorNone) << "port " << port;
    return definition;
}

using buffer_list = std::vector<std::pair<OMX_U32, OMX_BUFFERHEADERTYPE *>>;

/* Asks for Idle and gives every port its buffers, as a client does, then waits for Idle. */
void go_idle_with_buffers(OMX_HANDLETYPE handle, event_log &log, buffer_list &buffers)
{
    ASSERT_EQ(OMX_SendCommand(handle, OMX_CommandStateSet, OMX_StateIdle, nullptr), OMX_ErrorNone);
    for (OMX_U32 port : {0u, 1u}) {
        const OMX_PARAM_PORTDEFINITIONTYPE definition = port_definition(handle, port);
        for (OMX_U32 i = 0; i < definition.nBufferCountActual; ++i) {
            OMX_BUFFERHEADERTYPE *header = nullptr;
            ASSERT_EQ(OMX_AllocateBuffer(handle, &header, port, nullptr, definition.nBufferSize), OMX_ErrorNone);
            ASSERT_NE(header, nullptr);
            buffers.emplace_back(port, header);
        }
    }
    ASSERT_TRUE(log.wait_for(state_reached(OMX_StateIdle)));
}

class OmxCoreTest : public testing::Test {
protected:
    void SetUp() override
    {
        library_ = dlopen(ZVX_OMX_CORE_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        const std::pair<void **, const char *> entries[] = {
            {reinterpret_cast<void **>(&core_.init), "OMX_Init"},
            {reinterpret_cast<void **>(&core_.deinit), "OMX_Deinit"},
            {reinterpret_cast<void **>(&core_.name_enum), "OMX_ComponentNameEnum"},
            {reinterpret_cast<void **>(&core_.get_handle), "OMX_GetHandle"},
            {reinterpret_cast<void **>(&core_.free_handle), "OMX_FreeHandle"},
            {reinterpret_cast<void **>(&core_.setup_tunnel), "OMX_SetupTunnel"},
            {reinterpret_cast<void **>(&core_.components_of_role), "OMX_GetComponentsOfRole"},
            {reinterpret_cast<void **>(&core_.roles_of_component), "OMX_GetRolesOfComponent"},
        };
        for (const auto &[entry, name] : entries) {
            *entry = dlsym(library_, name);
            ASSERT_NE(*entry, nullptr) << name;
        }
    }

    void TearDown() override
    {
        if (library_ == nullptr)
            return;
        if (core_.deinit != nullptr) {
            EXPECT_EQ(core_.deinit(), OMX_ErrorNotReady) << "the test left the core initialised";
        }
        dlclose(library_);
    }

    /* Names with the count the core reports for them; asks for the count first, as clients do. */
    std::vector<std::string> roles_of(const char *component)
    {
        OMX_U32 count = 0;
        EXPECT_EQ(core_.roles_of_component(const_cast<char *>(component), &count, nullptr), OMX_ErrorNone);
        return fetch(count, [&](OMX_U32 *capacity, OMX_U8 **names) {
            return core_.roles_of_component(const_cast<char *>(component), capacity, names);
        });
    }

    std::vector<std::string> components_of(const char *role)
    {
        OMX_U32 count = 0;
        EXPECT_EQ(core_.components_of_role(const_cast<char *>(role), &count, nullptr), OMX_ErrorNone);
        return fetch(count, [&](OMX_U32 *capacity, OMX_U8 **names) {
            return core_.components_of_role(const_cast<char *>(role), capacity, names);
        });
    }

    template <typename Query> std::vector<std::string> fetch(OMX_U32 count, Query query)
    {
        std::vector<std::array<char, OMX_MAX_STRINGNAME_SIZE>> storage(count);
        std::vector<OMX_U8 *> names;
        for (auto &slot : storage)
            names.push_back(reinterpret_cast<OMX_U8 *>(slot.data()));
        OMX_U32 capacity = count;
        EXPECT_EQ(query(&capacity, names.data()), OMX_ErrorNone);
        EXPECT_EQ(capacity, count);
        std::vector<std::string> fetched;
        for (OMX_U32 i = 0; i < std::min(capacity, count); ++i)
            fetched.emplace_back(storage[i].data());
        return fetched;
    }

    void *library_ = nullptr;
    core_api core_{};
};

TEST_F(OmxCoreTest, ExportsOnlyTheStandardCoreEntryPoints)
{
    FILE *listing = popen("nm -D --defined-only '" ZVX_OMX_CORE_PATH "'", "r");
    ASSERT_NE(listing, nullptr);
    std::set<std::string> exported;
    char line[512];
    while (std::fgets(line, sizeof(line), listing) != nullptr) {
        char type = 0;
        char name[256] = {};
        if (std::sscanf(line, "%*s %c %255s", &type, name) == 2 && type != 'A')
            exported.insert(name);
    }
    ASSERT_EQ(pclose(listing), 0);
    const std::set<std::string> expected = {
        "OMX_Init",       "OMX_Deinit",      "OMX_ComponentNameEnum",   "OMX_GetHandle",
        "OMX_FreeHandle", "OMX_SetupTunnel", "OMX_GetComponentsOfRole", "OMX_GetRolesOfComponent"};
    EXPECT_EQ(exported, expected);
}

TEST_F(OmxCoreTest, CallsBeforeInitAreRefused)
{
    EXPECT_EQ(core_.deinit(), OMX_ErrorNotReady);
    char name[OMX_MAX_STRINGNAME_SIZE];
    EXPECT_EQ(core_.name_enum(name, sizeof(name), 0), OMX_ErrorNotReady);
    event_log log;
    OMX_HANDLETYPE handle = &log;
    EXPECT_EQ(core_.get_handle(&handle, const_cast<char *>(DECODER), &log, &log.callbacks), OMX_ErrorNotReady);
    EXPECT_EQ(handle, nullptr);
    OMX_U32 count = 0;
    EXPECT_EQ(core_.roles_of_component(const_cast<char *>(DECODER), &count, nullptr), OMX_ErrorNotReady);
    EXPECT_EQ(core_.components_of_role(const_cast<char *>("video_decoder.avc"), &count, nullptr), OMX_ErrorNotReady);
    EXPECT_EQ(core_.free_handle(&log), OMX_ErrorInvalidComponent);
}

TEST_F(OmxCoreTest, InitIsCountedUntilTheLastDeinit)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    ASSERT_EQ(core_.deinit(), OMX_ErrorNone);
    event_log log;
    OMX_HANDLETYPE handle = nullptr;
    ASSERT_EQ(core_.get_handle(&handle, const_cast<char *>(ENCODER), &log, &log.callbacks), OMX_ErrorNone);
    EXPECT_EQ(core_.free_handle(handle), OMX_ErrorNone);
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
    EXPECT_EQ(core_.get_handle(&handle, const_cast<char *>(ENCODER), &log, &log.callbacks), OMX_ErrorNotReady);
}

TEST_F(OmxCoreTest, EnumeratesBothComponentsOnce)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    std::set<std::string> names;
    char name[OMX_MAX_STRINGNAME_SIZE];
    OMX_U32 index = 0;
    for (; core_.name_enum(name, sizeof(name), index) == OMX_ErrorNone; ++index)
        names.insert(name);
    EXPECT_EQ(index, 2u);
    EXPECT_EQ(names, (std::set<std::string>{DECODER, ENCODER}));
    EXPECT_EQ(core_.name_enum(name, sizeof(name), 2), OMX_ErrorNoMore);

    /* A name is never cut short: a buffer without room for its terminator gets nothing. */
    std::memset(name, 'x', sizeof(name));
    EXPECT_EQ(core_.name_enum(name, static_cast<OMX_U32>(std::strlen(DECODER)), 0), OMX_ErrorBadParameter);
    EXPECT_EQ(name[0], 'x');
    EXPECT_EQ(core_.name_enum(name, static_cast<OMX_U32>(std::strlen(DECODER) + 1), 0), OMX_ErrorNone);
    EXPECT_EQ(core_.name_enum(nullptr, sizeof(name), 0), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

TEST_F(OmxCoreTest, RolesMatchBothWays)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    const std::vector<std::string> decoder_roles = roles_of(DECODER);
    const std::vector<std::string> encoder_roles = roles_of(ENCODER);
    EXPECT_EQ(decoder_roles.size(), 9u);
    EXPECT_EQ(encoder_roles.size(), 4u);
    for (const std::string &role : decoder_roles) {
        EXPECT_TRUE(role.starts_with("video_decoder.")) << role;
        EXPECT_EQ(components_of(role.c_str()), std::vector<std::string>{DECODER}) << role;
    }
    for (const std::string &role : encoder_roles) {
        EXPECT_TRUE(role.starts_with("video_encoder.")) << role;
        EXPECT_EQ(components_of(role.c_str()), std::vector<std::string>{ENCODER}) << role;
    }
    EXPECT_TRUE(components_of("audio_decoder.mp3").empty());
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

TEST_F(OmxCoreTest, RoleQueriesRefuseBadArguments)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    std::array<char, OMX_MAX_STRINGNAME_SIZE> slot;
    slot.fill('x');
    OMX_U8 *names[] = {reinterpret_cast<OMX_U8 *>(slot.data())};

    /* An array too small, or with a missing slot, gets nothing written but learns the count it needs. */
    OMX_U32 count = 1;
    EXPECT_EQ(core_.roles_of_component(const_cast<char *>(DECODER), &count, names), OMX_ErrorBadParameter);
    EXPECT_EQ(count, 9u);
    count = 0;
    EXPECT_EQ(core_.components_of_role(const_cast<char *>("video_decoder.avc"), &count, names), OMX_ErrorBadParameter);
    EXPECT_EQ(count, 1u);
    OMX_U8 *missing_slot[] = {nullptr};
    count = 1;
    EXPECT_EQ(core_.components_of_role(const_cast<char *>("video_decoder.avc"), &count, missing_slot),
              OMX_ErrorBadParameter);
    EXPECT_EQ(slot[0], 'x');

    EXPECT_EQ(core_.roles_of_component(const_cast<char *>("OMX.DHQ.video.k7nn.scaler"), &count, nullptr),
              OMX_ErrorComponentNotFound);
    EXPECT_EQ(core_.roles_of_component(nullptr, &count, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.roles_of_component(const_cast<char *>(DECODER), nullptr, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.components_of_role(nullptr, &count, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.components_of_role(const_cast<char *>("video_decoder.avc"), nullptr, nullptr),
              OMX_ErrorBadParameter);
    /* Unterminated within the standard's 128 bytes: never read past them. */
    EXPECT_EQ(core_.roles_of_component(slot.data(), &count, nullptr), OMX_ErrorInvalidComponentName);
    EXPECT_EQ(core_.components_of_role(slot.data(), &count, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

TEST_F(OmxCoreTest, GetHandleRefusesBadArguments)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    event_log log;
    OMX_HANDLETYPE handle = &log;
    EXPECT_EQ(core_.get_handle(nullptr, const_cast<char *>(DECODER), &log, &log.callbacks), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.get_handle(&handle, nullptr, &log, &log.callbacks), OMX_ErrorBadParameter);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(core_.get_handle(&handle, const_cast<char *>(DECODER), &log, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.get_handle(&handle, const_cast<char *>("OMX.DHQ.video.k7nn"), &log, &log.callbacks),
              OMX_ErrorComponentNotFound);
    std::array<char, OMX_MAX_STRINGNAME_SIZE> unterminated;
    unterminated.fill('A');
    EXPECT_EQ(core_.get_handle(&handle, unterminated.data(), &log, &log.callbacks), OMX_ErrorInvalidComponentName);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(core_.setup_tunnel(nullptr, 1, nullptr, 0), OMX_ErrorNotImplemented);
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

TEST_F(OmxCoreTest, FreeHandleTakesBackOnlyWhatTheCoreGave)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    for (const char *name : {DECODER, ENCODER}) {
        event_log log;
        OMX_HANDLETYPE handle = nullptr;
        ASSERT_EQ(core_.get_handle(&handle, const_cast<char *>(name), &log, &log.callbacks), OMX_ErrorNone) << name;
        ASSERT_NE(handle, nullptr);
        OMX_STATETYPE state = OMX_StateInvalid;
        EXPECT_EQ(OMX_GetState(handle, &state), OMX_ErrorNone);
        EXPECT_EQ(state, OMX_StateLoaded);
        EXPECT_EQ(static_cast<OMX_COMPONENTTYPE *>(handle)->pApplicationPrivate, &log);

        OMX_COMPONENTTYPE foreign;
        std::memset(&foreign, 0, sizeof(foreign));
        EXPECT_EQ(core_.free_handle(&foreign), OMX_ErrorInvalidComponent);
        EXPECT_EQ(core_.free_handle(handle), OMX_ErrorNone) << name;
        EXPECT_EQ(core_.free_handle(handle), OMX_ErrorInvalidComponent) << name;
    }
    EXPECT_EQ(core_.free_handle(nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

/* A client that calls OMX_Deinit first and frees its executing component afterwards, its buffers
 * still allocated: the handle keeps working until freed, and the free releases everything. */
TEST_F(OmxCoreTest, HandlesOutliveTheLastDeinitUntilFreed)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    event_log log;
    OMX_HANDLETYPE handle = nullptr;
    ASSERT_EQ(core_.get_handle(&handle, const_cast<char *>(DECODER), &log, &log.callbacks), OMX_ErrorNone);
    buffer_list buffers;
    ASSERT_NO_FATAL_FAILURE(go_idle_with_buffers(handle, log, buffers));
    ASSERT_EQ(core_.deinit(), OMX_ErrorNone);

    ASSERT_EQ(OMX_SendCommand(handle, OMX_CommandStateSet, OMX_StateExecuting, nullptr), OMX_ErrorNone);
    EXPECT_TRUE(log.wait_for(state_reached(OMX_StateExecuting)));
    EXPECT_EQ(port_definition(handle, 0).eDir, OMX_DirInput);
    OMX_HANDLETYPE second = nullptr;
    EXPECT_EQ(core_.get_handle(&second, const_cast<char *>(DECODER), &log, &log.callbacks), OMX_ErrorNotReady);
    EXPECT_EQ(core_.free_handle(handle), OMX_ErrorNone);
    EXPECT_EQ(core_.free_handle(handle), OMX_ErrorInvalidComponent);

    /* The session side went down with the last handle and comes up again. */
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    ASSERT_EQ(core_.get_handle(&handle, const_cast<char *>(DECODER), &log, &log.callbacks), OMX_ErrorNone);
    EXPECT_EQ(core_.free_handle(handle), OMX_ErrorNone);
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

TEST_F(OmxCoreTest, ClientsOnEightThreadsAtOnce)
{
    constexpr int threads = 8;
    constexpr int rounds = 20;
    std::atomic<int> failures = 0;
    std::vector<std::thread> clients;
    for (int t = 0; t < threads; ++t) {
        clients.emplace_back([&, t] {
            for (int round = 0; round < rounds; ++round) {
                event_log log;
                OMX_HANDLETYPE handle = nullptr;
                const char *name = (t + round) % 2 == 0 ? DECODER : ENCODER;
                OMX_STATETYPE state = OMX_StateInvalid;
                OMX_U32 count = 0;
                const bool ok =
                    core_.init() == OMX_ErrorNone &&
                    core_.get_handle(&handle, const_cast<char *>(name), &log, &log.callbacks) == OMX_ErrorNone &&
                    OMX_GetState(handle, &state) == OMX_ErrorNone && state == OMX_StateLoaded &&
                    core_.roles_of_component(const_cast<char *>(name), &count, nullptr) == OMX_ErrorNone && count > 0 &&
                    core_.free_handle(handle) == OMX_ErrorNone && core_.deinit() == OMX_ErrorNone;
                if (!ok)
                    ++failures;
            }
        });
    }
    for (std::thread &client : clients)
        client.join();
    EXPECT_EQ(failures.load(), 0);
}

TEST_F(OmxCoreTest, ConcurrentFreesOfOneHandleSucceedOnce)
{
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    for (int round = 0; round < 10; ++round) {
        event_log log;
        OMX_HANDLETYPE handle = nullptr;
        ASSERT_EQ(core_.get_handle(&handle, const_cast<char *>(ENCODER), &log, &log.callbacks), OMX_ErrorNone);
        OMX_ERRORTYPE results[2];
        std::thread first([&] { results[0] = core_.free_handle(handle); });
        std::thread second([&] { results[1] = core_.free_handle(handle); });
        first.join();
        second.join();
        EXPECT_EQ(std::multiset<OMX_ERRORTYPE>(std::begin(results), std::end(results)),
                  (std::multiset<OMX_ERRORTYPE>{OMX_ErrorNone, OMX_ErrorInvalidComponent}));
    }
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

struct running_case {
    const char *name;
    const char *role;
    OMX_U32 bitstream_port;
};

void PrintTo(const running_case &kind, std::ostream *out)
{
    *out << kind.name << " as " << kind.role;
}

class OmxCoreRunningComponentTest : public OmxCoreTest, public testing::WithParamInterface<running_case> {};

/* Parameters through the handle, a role change, and Loaded -> Idle -> Loaded with the client's
 * buffers, every state change completed by the emulated device. */
TEST_P(OmxCoreRunningComponentTest, RunsThroughItsHandle)
{
    const running_case &kind = GetParam();
    ASSERT_EQ(core_.init(), OMX_ErrorNone);
    event_log log;
    OMX_HANDLETYPE handle = nullptr;
    ASSERT_EQ(core_.get_handle(&handle, const_cast<char *>(kind.name), &log, &log.callbacks), OMX_ErrorNone);

    const OMX_PARAM_PORTDEFINITIONTYPE input = port_definition(handle, 0);
    const OMX_PARAM_PORTDEFINITIONTYPE output = port_definition(handle, 1);
    EXPECT_EQ(input.eDir, OMX_DirInput);
    EXPECT_EQ(output.eDir, OMX_DirOutput);
    EXPECT_EQ(input.eDomain, OMX_PortDomainVideo);

    auto role = client_record<OMX_PARAM_COMPONENTROLETYPE>();
    std::strncpy(reinterpret_cast<char *>(role.cRole), kind.role, sizeof(role.cRole) - 1);
    ASSERT_EQ(OMX_SetParameter(handle, OMX_IndexParamStandardComponentRole, &role), OMX_ErrorNone);
    auto role_read = client_record<OMX_PARAM_COMPONENTROLETYPE>();
    ASSERT_EQ(OMX_GetParameter(handle, OMX_IndexParamStandardComponentRole, &role_read), OMX_ErrorNone);
    EXPECT_STREQ(reinterpret_cast<const char *>(role_read.cRole), kind.role);
    const OMX_PARAM_PORTDEFINITIONTYPE before = kind.bitstream_port == 0 ? input : output;
    const OMX_PARAM_PORTDEFINITIONTYPE after = port_definition(handle, kind.bitstream_port);
    EXPECT_NE(after.format.video.eCompressionFormat, before.format.video.eCompressionFormat);

    buffer_list buffers;
    ASSERT_NO_FATAL_FAILURE(go_idle_with_buffers(handle, log, buffers));
    OMX_STATETYPE state = OMX_StateInvalid;
    EXPECT_EQ(OMX_GetState(handle, &state), OMX_ErrorNone);
    EXPECT_EQ(state, OMX_StateIdle);

    ASSERT_EQ(OMX_SendCommand(handle, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorNone);
    for (const auto &[port, header] : buffers)
        EXPECT_EQ(OMX_FreeBuffer(handle, port, header), OMX_ErrorNone);
    ASSERT_TRUE(log.wait_for(state_reached(OMX_StateLoaded)));
    EXPECT_EQ(log.events(),
              (std::vector<event_log::event>{state_reached(OMX_StateIdle), state_reached(OMX_StateLoaded)}));

    EXPECT_EQ(core_.free_handle(handle), OMX_ErrorNone);
    EXPECT_EQ(core_.deinit(), OMX_ErrorNone);
}

INSTANTIATE_TEST_SUITE_P(BothKinds, OmxCoreRunningComponentTest,
                         testing::Values(running_case{DECODER, "video_decoder.mpeg4", 0},
                                         running_case{ENCODER, "video_encoder.vp8", 1}),
                         [](const testing::TestParamInfo<running_case> &info) {
                             return info.param.bitstream_port == 0 ? std::string("Decoder") : std::string("Encoder");
                         });

} // namespace
