/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The profile report: what the co-processor emits for each profiled event. 48 bytes, little-endian, at any alignment.
 *
 * The first four bytes are one header word: category in bits 31-24, component in 23-16, event in 15-8, type in 7-0.
 */
#ifndef PROFILE_REPORT_H
#define PROFILE_REPORT_H

#include <stddef.h>
#include <stdint.h>

#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the report's members are read as they stand in memory, which is right on little-endian machines only"
#endif

typedef struct __attribute__((packed)) _HubProfileReport {
  uint8_t type_id;       /* layout of the payload, together with what the category makes of it */
  uint8_t event_id;      /* event within the component */
  uint8_t component_id;  /* component within the category */
  uint8_t category_id;   /* firmware category: selects the decoder */
  uint32_t sequence_num; /* counts reports */
  uint64_t timestamp;    /* co-processor clock at the event, in microseconds */
  uint8_t payload[32];
} _HubProfileReport;

#ifdef __cplusplus
#define PROFILE_REPORT_ASSERT static_assert
#else
#define PROFILE_REPORT_ASSERT _Static_assert
#endif

PROFILE_REPORT_ASSERT(sizeof(_HubProfileReport) == 48, "a report is 48 bytes");
PROFILE_REPORT_ASSERT(offsetof(_HubProfileReport, type_id) == 0, "header word, bits 7-0");
PROFILE_REPORT_ASSERT(offsetof(_HubProfileReport, event_id) == 1, "header word, bits 15-8");
PROFILE_REPORT_ASSERT(offsetof(_HubProfileReport, component_id) == 2, "header word, bits 23-16");
PROFILE_REPORT_ASSERT(offsetof(_HubProfileReport, category_id) == 3, "header word, bits 31-24");
PROFILE_REPORT_ASSERT(offsetof(_HubProfileReport, sequence_num) == 4, "sequence_num at 4");
PROFILE_REPORT_ASSERT(offsetof(_HubProfileReport, timestamp) == 8, "timestamp at 8");
PROFILE_REPORT_ASSERT(offsetof(_HubProfileReport, payload) == 16, "payload at 16");

#undef PROFILE_REPORT_ASSERT

#endif
