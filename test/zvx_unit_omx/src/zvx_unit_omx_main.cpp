// Entry of "ZVX Unit Tests": every suite runs the component against the session stub.
#include "quro_tpi.h"
#include "quro_utf.h"
#include "zvx_backtrace.h"
#include "zvx_component_suites.h"
#include "zvx_omx_log.h"
#include "zvx_suite_translate.h"

namespace {

constexpr int zvxp_setup_failed = 5;

typedef quro_utf_suite *(*zvxp_suite_factory)(quro_utf_mempool *pool, quro_utf_result_set *results,
                                              quro_utf_suite *prev_suite);

constexpr zvxp_suite_factory zvxp_suites[] = {
    zvx_create_suite_config_and_params, zvx_create_suite_translate,         zvx_create_suite_common_component,
    zvx_create_suite_decoder_component, zvx_create_suite_encoder_component,
};

int zvxp_run(quro_utf_test_specifier *spec)
{
    // The component's own log would drown the results; only panics get through.
    zvx_log_omx_if.severity = ZVX_LOG_PANIC;

    quro_utf_mempool result_pool;
    quro_utf_mempool suite_pool;
    quro_utf_result_set *results = nullptr;
    const int setup = quro_utf_test_default_setup(&result_pool, &suite_pool, &results);
    if (setup != 0)
        return setup;

    quro_utf_suite *head = nullptr;
    quro_utf_suite *last = nullptr;
    for (zvxp_suite_factory create : zvxp_suites) {
        last = create(&suite_pool, results, last);
        if (last == nullptr)
            return zvxp_setup_failed;
        if (head == nullptr)
            head = last;
    }
    return quro_utf_test_default_exec_and_teardown(spec, head, &result_pool, &suite_pool, &results);
}

// The suites take no options of their own; anything the framework does not know is ignored.
int zvxp_parse(quro_utf_test_specifier *, quro_utf_mempool *, const char *)
{
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    zvx_backtrace_init();
    quro_tpi_init();
    quro_tpi_puts("=======================================================\n");
    quro_tpi_puts("  ZVX Unit Tests\n");
    quro_tpi_puts("=======================================================\n");
    quro_tpi_puts("\n");
    const int result = quro_utf_test_main(zvxp_run, zvxp_parse, nullptr, argc, const_cast<const char **>(argv));
    quro_tpi_shutdown();
    return result;
}
