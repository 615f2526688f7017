#ifndef ZVX_COMPONENT_SUITES_H
#define ZVX_COMPONENT_SUITES_H

#include "quro_utf.h"

/* Each factory appends its suite behind prev_suite and returns it, or null when it cannot be built. */
quro_utf_suite *zvx_create_suite_config_and_params(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                   quro_utf_suite *prev_suite);
quro_utf_suite *zvx_create_suite_common_component(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                  quro_utf_suite *prev_suite);
quro_utf_suite *zvx_create_suite_decoder_component(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                   quro_utf_suite *prev_suite);
quro_utf_suite *zvx_create_suite_encoder_component(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                   quro_utf_suite *prev_suite);

#endif
