// Project hooks of the test framework for this platform. Resource failures are allocations of the
// memory wrappers: the n-th one of a test is made to fail. Where the wrappers' hooks are inert no
// allocation ever fails, so each test runs once.
#include "quro_utf.h"
#include "zvx_mem_faults.h"

namespace {
// The failure point of the test being run; main thread only.
uint64_t resfail_point;
bool resfail_armed;
} // namespace

void quro_utf_resfail_enable(void) {}

void quro_utf_resfail_disable(void)
{
    zvx_mem_faults_disarm();
}

void quro_utf_resfail_fail_on(uint64_t n)
{
    resfail_point = n;
    resfail_armed = zvx_mem_faults_arm(n, n);
}

int quro_utf_resfail_did_fail(void)
{
    return resfail_armed && zvx_mem_faults_counted() > resfail_point ? 1 : 0;
}

unsigned quro_utf_set_ef_for(unsigned a, unsigned b)
{
    return ((a & QURO_UTF_FLAG_DEPRECATED) && (b & QURO_UTF_FLAG_SMOKETEST)) ? QURO_UTF_FLAG_EXPECTEDFAILURE : 0u;
}

void quro_utf_print_provenance(void)
{
    quro_utf_log("\nT600 Platform:\n  Hardware: %s\n  OS:       %s\n\n", "K7nn r0p0", "Linux");
}
