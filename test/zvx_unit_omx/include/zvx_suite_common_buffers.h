#ifndef ZVX_SUITE_COMMON_BUFFERS_H
#define ZVX_SUITE_COMMON_BUFFERS_H

/* The buffer tests of the "Common component" suite, registered there at their numbers. */

#include "quro_utf.h"

void zvx_test_empty_this_buffer(quro_utf_suite *suite);
void zvx_test_fill_this_buffer(quro_utf_suite *suite);
void zvx_test_send_current_settings(quro_utf_suite *suite);
void zvx_test_use_buffer(quro_utf_suite *suite);
void zvx_test_free_buffer(quro_utf_suite *suite);
void zvx_test_allocate_buffer(quro_utf_suite *suite);
void zvx_test_allocate_buffer_mb(quro_utf_suite *suite);
void zvx_test_is_metadata_enabled(quro_utf_suite *suite);
void zvx_test_is_dmabuf_enabled(quro_utf_suite *suite);
void zvx_test_get_extra_data_size(quro_utf_suite *suite);
void zvx_test_validate_buffer_size(quro_utf_suite *suite);
void zvx_test_decoder_use_metadata_buffer(quro_utf_suite *suite);
void zvx_test_encoder_use_metadata_buffer(quro_utf_suite *suite);

#endif
