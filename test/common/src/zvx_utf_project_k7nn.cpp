// Project hooks of the test framework for this platform. The resource-failure hooks are an
// interface without a backend here: no allocation is ever made to fail, so each test runs once.
#include "quro_utf.h"

void quro_utf_resfail_enable(void) {}

void quro_utf_resfail_disable(void) {}

void quro_utf_resfail_fail_on(uint64_t) {}

int quro_utf_resfail_did_fail(void)
{
    return 0;
}

unsigned quro_utf_set_ef_for(unsigned a, unsigned b)
{
    return ((a & QURO_UTF_FLAG_DEPRECATED) && (b & QURO_UTF_FLAG_SMOKETEST)) ? QURO_UTF_FLAG_EXPECTEDFAILURE : 0u;
}

void quro_utf_print_provenance(void)
{
    quro_utf_log("\nT600 Platform:\n  Hardware: %s\n  OS:       %s\n\n", "K7nn r0p0", "Linux");
}
