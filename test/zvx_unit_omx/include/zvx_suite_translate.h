#ifndef ZVX_SUITE_TRANSLATE_H
#define ZVX_SUITE_TRANSLATE_H

#include "quro_utf.h"

/* "Data Translations": the 1.1.2/1.2.0 conversions, checked without a component. */
quro_utf_suite *zvx_create_suite_translate(quro_utf_mempool *pool, quro_utf_result_set *results,
                                           quro_utf_suite *prev_suite);

#endif
