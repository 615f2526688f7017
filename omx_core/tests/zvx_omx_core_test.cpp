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
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

char DECODER[] = "OMX.DHQ.video.k7nn.decoder";
char ENCODER[] = "OMX.DHQ.video.k7nn.encoder";
char AVC_DECODER_ROLE[] = "video_decoder.avc";

/* The events a component sends; buffers come back through callbacks these tests never wait on. */
class event_log {
public:
    using event = std::array<OMX_U32, 3>; /* type, data1, data2 */
    static event state_reached(OMX_STATETYPE state)
    {
        return {OMX_EventCmdComplete, OMX_CommandStateSet, static_cast<OMX_U32>(state)};
    }

    OMX_CALLBACKTYPE callbacks = {on_event, on_buffer, on_buffer};

    bool wait_for(const event &expected)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10),
                                 [&] { return std::find(events_.begin(), events_.end(), expected) != events_.end(); });
    }

    std::vector<event> events()
    {
        std::lock_guard lock(mutex_);
        return events_;
    }

private:
    static OMX_ERRORTYPE on_event(OMX_HANDLETYPE, OMX_PTR log, OMX_EVENTTYPE type, OMX_U32 data1, OMX_U32 data2,
                                  OMX_PTR)
    {
        auto *self = static_cast<event_log *>(log);
        std::lock_guard lock(self->mutex_);
        self->events_.push_back({static_cast<OMX_U32>(type), data1, data2});
        self->changed_.notify_all();
        return OMX_ErrorNone;
    }

    static OMX_ERRORTYPE on_buffer(OMX_HANDLETYPE, OMX_PTR, OMX_BUFFERHEADERTYPE *) { return OMX_ErrorNone; }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<event> events_; /* mutex_ */
};

template <typename Record> Record client_record(OMX_U32 port = 0)
{
    Record record;
    std::memset(&record, 0, sizeof(record));
    record.nSize = sizeof(record);
    record.nVersion.nVersion = 0x00020101; /* 1.1.2.0 */
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
            buffers.emplace_back(port, header);
        }
    }
    ASSERT_TRUE(log.wait_for(event_log::state_reached(OMX_StateIdle)));
}

/* A name list asked for as clients ask: the count first, then the names. */
template <typename Query> std::vector<std::string> listed(Query query)
{
    OMX_U32 count = 0;
    EXPECT_EQ(query(&count, nullptr), OMX_ErrorNone);
    std::vector<std::array<char, OMX_MAX_STRINGNAME_SIZE>> storage(count);
    std::vector<OMX_U8 *> slots;
    slots.reserve(storage.size());
    for (auto &slot : storage)
        slots.push_back(reinterpret_cast<OMX_U8 *>(slot.data()));
    EXPECT_EQ(query(&count, slots.data()), OMX_ErrorNone);
    std::vector<std::string> names;
    for (OMX_U32 i = 0; i < count && i < storage.size(); ++i)
        names.emplace_back(storage[i].data());
    return names;
}

class OmxCoreTest : public testing::Test {
protected:
    void SetUp() override
    {
        library_ = dlopen(ZVX_OMX_CORE_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        ASSERT_NO_FATAL_FAILURE(resolve(init, "OMX_Init"));
        ASSERT_NO_FATAL_FAILURE(resolve(deinit, "OMX_Deinit"));
        ASSERT_NO_FATAL_FAILURE(resolve(name_enum, "OMX_ComponentNameEnum"));
        ASSERT_NO_FATAL_FAILURE(resolve(get_handle, "OMX_GetHandle"));
        ASSERT_NO_FATAL_FAILURE(resolve(free_handle, "OMX_FreeHandle"));
        ASSERT_NO_FATAL_FAILURE(resolve(setup_tunnel, "OMX_SetupTunnel"));
        ASSERT_NO_FATAL_FAILURE(resolve(components_of_role, "OMX_GetComponentsOfRole"));
        ASSERT_NO_FATAL_FAILURE(resolve(roles_of_component, "OMX_GetRolesOfComponent"));
    }

    void TearDown() override
    {
        if (deinit != nullptr) {
            EXPECT_EQ(deinit(), OMX_ErrorNotReady) << "the test left the core initialised";
        }
        if (library_ != nullptr)
            dlclose(library_);
    }

    template <typename Entry> void resolve(Entry *&entry, const char *name)
    {
        entry = reinterpret_cast<Entry *>(dlsym(library_, name));
        ASSERT_NE(entry, nullptr) << name;
    }

    void *library_ = nullptr;
    decltype(OMX_Init) *init = nullptr;
    decltype(OMX_Deinit) *deinit = nullptr;
    decltype(OMX_ComponentNameEnum) *name_enum = nullptr;
    decltype(OMX_GetHandle) *get_handle = nullptr;
    decltype(OMX_FreeHandle) *free_handle = nullptr;
    decltype(OMX_SetupTunnel) *setup_tunnel = nullptr;
    decltype(OMX_GetComponentsOfRole) *components_of_role = nullptr;
    decltype(OMX_GetRolesOfComponent) *roles_of_component = nullptr;
};

TEST_F(OmxCoreTest, ExportsOnlyItsEntryPointsRefusesCallsBeforeInitAndBadArgumentsAndMatchesNamesAndRoles)
{
    // NOLINTNEXTLINE(cert-env33-c): the fixed nm command line needs a shell, as a person would run it
    FILE *listing = popen("nm -D --defined-only '" ZVX_OMX_CORE_PATH "'", "r");
    ASSERT_NE(listing, nullptr);
    std::set<std::string> exported;
    char line[512];
    char symbol[256];
    while (std::fgets(line, sizeof(line), listing) != nullptr) {
        if (std::sscanf(line, "%*s %*c %255s", symbol) == 1)
            exported.insert(symbol);
    }
    ASSERT_EQ(pclose(listing), 0);
    EXPECT_EQ(exported, (std::set<std::string>{"OMX_Init", "OMX_Deinit", "OMX_ComponentNameEnum", "OMX_GetHandle",
                                               "OMX_FreeHandle", "OMX_SetupTunnel", "OMX_GetComponentsOfRole",
                                               "OMX_GetRolesOfComponent"}));

    event_log log;
    OMX_HANDLETYPE handle = &log;
    OMX_U32 count = 0;
    char name[OMX_MAX_STRINGNAME_SIZE];
    EXPECT_EQ(deinit(), OMX_ErrorNotReady);
    EXPECT_EQ(get_handle(&handle, DECODER, &log, &log.callbacks), OMX_ErrorNotReady);
    EXPECT_EQ(name_enum(name, sizeof(name), 0), OMX_ErrorNotReady);
    EXPECT_EQ(roles_of_component(DECODER, &count, nullptr), OMX_ErrorNotReady);
    EXPECT_EQ(components_of_role(AVC_DECODER_ROLE, &count, nullptr), OMX_ErrorNotReady);

    ASSERT_EQ(init(), OMX_ErrorNone);
    std::array<char, OMX_MAX_STRINGNAME_SIZE> unterminated;
    unterminated.fill('A');
    char unknown[] = "OMX.DHQ.video.k7nn";
    EXPECT_EQ(get_handle(nullptr, DECODER, &log, &log.callbacks), OMX_ErrorBadParameter);
    EXPECT_EQ(get_handle(&handle, nullptr, &log, &log.callbacks), OMX_ErrorBadParameter);
    EXPECT_EQ(get_handle(&handle, DECODER, &log, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(get_handle(&handle, unknown, &log, &log.callbacks), OMX_ErrorComponentNotFound);
    EXPECT_EQ(get_handle(&handle, unterminated.data(), &log, &log.callbacks), OMX_ErrorInvalidComponentName);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(roles_of_component(unknown, &count, nullptr), OMX_ErrorComponentNotFound);
    EXPECT_EQ(roles_of_component(unterminated.data(), &count, nullptr), OMX_ErrorInvalidComponentName);
    EXPECT_EQ(roles_of_component(DECODER, nullptr, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(components_of_role(unterminated.data(), &count, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(components_of_role(AVC_DECODER_ROLE, nullptr, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(name_enum(nullptr, sizeof(name), 0), OMX_ErrorBadParameter);
    EXPECT_EQ(free_handle(nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(setup_tunnel(nullptr, 1, nullptr, 0), OMX_ErrorNotImplemented);

    // Names and roles match both ways.
    ASSERT_EQ(init(), OMX_ErrorNone);
    ASSERT_EQ(deinit(), OMX_ErrorNone); /* still initialised once */
    std::map<std::string, std::vector<std::string>> roles;
    OMX_U32 index = 0;
    for (; name_enum(name, sizeof(name), index) == OMX_ErrorNone; ++index)
        roles[name] = listed([&](OMX_U32 *count, OMX_U8 **out) { return roles_of_component(name, count, out); });
    EXPECT_EQ(index, 2u);
    EXPECT_EQ(name_enum(name, sizeof(name), index), OMX_ErrorNoMore);
    EXPECT_EQ(roles[DECODER].size(), 9u);
    EXPECT_EQ(roles[ENCODER].size(), 4u);
    for (const auto &[component, component_roles] : roles) {
        for (std::string role : component_roles) {
            EXPECT_EQ(listed([&](OMX_U32 *count, OMX_U8 **out) { return components_of_role(role.data(), count, out); }),
                      std::vector<std::string>{component});
        }
    }
    char unoffered[] = "audio_decoder.mp3";
    EXPECT_TRUE(
        listed([&](OMX_U32 *count, OMX_U8 **out) { return components_of_role(unoffered, count, out); }).empty());

    /* Nothing is cut short: a buffer or an array too small gets nothing, an array learns the count it needs. */
    std::array<char, OMX_MAX_STRINGNAME_SIZE> slot;
    slot.fill('x');
    OMX_U8 *slots[] = {reinterpret_cast<OMX_U8 *>(slot.data())};
    EXPECT_EQ(name_enum(slot.data(), static_cast<OMX_U32>(std::strlen(DECODER)), 0), OMX_ErrorBadParameter);
    count = 1;
    EXPECT_EQ(roles_of_component(DECODER, &count, slots), OMX_ErrorBadParameter);
    EXPECT_EQ(count, 9u);
    count = 0;
    EXPECT_EQ(components_of_role(AVC_DECODER_ROLE, &count, slots), OMX_ErrorBadParameter);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(slot[0], 'x');
    EXPECT_EQ(deinit(), OMX_ErrorNone);
}

/* Every state change here is completed by the codec device. */
TEST_F(OmxCoreTest, ComponentRunsThroughItsHandleWhichIsFreedOnceAndOutlivesTheLastDeinit)
{
    ASSERT_EQ(init(), OMX_ErrorNone);
    event_log log;
    OMX_HANDLETYPE handle = nullptr;
    ASSERT_EQ(get_handle(&handle, DECODER, &log, &log.callbacks), OMX_ErrorNone);
    EXPECT_EQ(port_definition(handle, 0).eDir, OMX_DirInput);
    EXPECT_EQ(port_definition(handle, 1).eDir, OMX_DirOutput);

    auto role = client_record<OMX_PARAM_COMPONENTROLETYPE>();
    std::strncpy(reinterpret_cast<char *>(role.cRole), "video_decoder.mpeg4", sizeof(role.cRole) - 1);
    ASSERT_EQ(OMX_SetParameter(handle, OMX_IndexParamStandardComponentRole, &role), OMX_ErrorNone);
    auto role_read = client_record<OMX_PARAM_COMPONENTROLETYPE>();
    ASSERT_EQ(OMX_GetParameter(handle, OMX_IndexParamStandardComponentRole, &role_read), OMX_ErrorNone);
    EXPECT_STREQ(reinterpret_cast<const char *>(role_read.cRole), "video_decoder.mpeg4");
    EXPECT_EQ(port_definition(handle, 0).format.video.eCompressionFormat, OMX_VIDEO_CodingMPEG4);

    buffer_list buffers;
    ASSERT_NO_FATAL_FAILURE(go_idle_with_buffers(handle, log, buffers));
    ASSERT_EQ(OMX_SendCommand(handle, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorNone);
    for (const auto &[port, header] : buffers)
        EXPECT_EQ(OMX_FreeBuffer(handle, port, header), OMX_ErrorNone);
    ASSERT_TRUE(log.wait_for(event_log::state_reached(OMX_StateLoaded)));
    EXPECT_EQ(log.events(), (std::vector<event_log::event>{event_log::state_reached(OMX_StateIdle),
                                                           event_log::state_reached(OMX_StateLoaded)}));
    EXPECT_EQ(free_handle(handle), OMX_ErrorNone);

    for (char *name : {DECODER, ENCODER}) {
        event_log racing_log;
        OMX_HANDLETYPE racing = nullptr;
        ASSERT_EQ(get_handle(&racing, name, &racing_log, &racing_log.callbacks), OMX_ErrorNone);
        OMX_ERRORTYPE results[2];
        std::thread racing_free([&] { results[1] = free_handle(racing); });
        results[0] = free_handle(racing);
        racing_free.join();
        EXPECT_EQ(std::multiset<OMX_ERRORTYPE>(results, results + 2),
                  (std::multiset<OMX_ERRORTYPE>{OMX_ErrorNone, OMX_ErrorInvalidComponent}));
    }
    OMX_COMPONENTTYPE foreign{};
    EXPECT_EQ(free_handle(&foreign), OMX_ErrorInvalidComponent);

    /* A client that calls OMX_Deinit first and frees its executing component, buffers and all, after. */
    event_log late;
    ASSERT_EQ(get_handle(&handle, DECODER, &late, &late.callbacks), OMX_ErrorNone);
    ASSERT_NO_FATAL_FAILURE(go_idle_with_buffers(handle, late, buffers));
    ASSERT_EQ(deinit(), OMX_ErrorNone);
    ASSERT_EQ(OMX_SendCommand(handle, OMX_CommandStateSet, OMX_StateExecuting, nullptr), OMX_ErrorNone);
    EXPECT_TRUE(late.wait_for(event_log::state_reached(OMX_StateExecuting)));
    OMX_HANDLETYPE refused = nullptr;
    EXPECT_EQ(get_handle(&refused, DECODER, &late, &late.callbacks), OMX_ErrorNotReady);
    EXPECT_EQ(free_handle(handle), OMX_ErrorNone);
    EXPECT_EQ(free_handle(handle), OMX_ErrorInvalidComponent);

    /* With the last handle freed, the next OMX_Init starts over. */
    ASSERT_EQ(init(), OMX_ErrorNone);
    ASSERT_EQ(get_handle(&handle, ENCODER, &late, &late.callbacks), OMX_ErrorNone);
    EXPECT_EQ(free_handle(handle), OMX_ErrorNone);
    EXPECT_EQ(deinit(), OMX_ErrorNone);
}

TEST_F(OmxCoreTest, EightClientThreadsAtOnce)
{
    std::atomic<int> failed_rounds = 0;
    std::vector<std::thread> clients;
    clients.reserve(8);
    for (int t = 0; t < 8; ++t) {
        clients.emplace_back([&, t] {
            for (int round = 0; round < 20; ++round) {
                event_log log;
                OMX_HANDLETYPE handle = nullptr;
                OMX_STATETYPE state = OMX_StateInvalid;
                OMX_U32 roles = 0;
                char *name = (t + round) % 2 == 0 ? DECODER : ENCODER;
                const bool ok = init() == OMX_ErrorNone &&
                                get_handle(&handle, name, &log, &log.callbacks) == OMX_ErrorNone &&
                                OMX_GetState(handle, &state) == OMX_ErrorNone && state == OMX_StateLoaded &&
                                roles_of_component(name, &roles, nullptr) == OMX_ErrorNone && roles > 0 &&
                                free_handle(handle) == OMX_ErrorNone && deinit() == OMX_ErrorNone;
                failed_rounds += ok ? 0 : 1;
            }
        });
    }
    for (std::thread &client : clients)
        client.join();
    EXPECT_EQ(failed_rounds.load(), 0);
}

} // namespace
