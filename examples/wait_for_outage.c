/* SPDX-License-Identifier: MIT */
/* wait_for_outage SECONDS: waits until an input loses the mains and exits with 0, or with 1 when the time is over. */
#include <kvrn/kvrn.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

int main(int argc, char** argv) {
  const struct timespec rest = {0, 200 * 1000 * 1000};
  /* Use the monotonic clock: a change of the system time does not affect it. */
  int64_t end = get_timestamp_mono_ms() + 1000 * (argc > 1 ? atoi(argv[1]) : 60);
  for (;;) {
    for (int input = 0; input < 2; input++) {
      if (!is_ac_connected(input)) {
        printf("input %d has no mains; the device's state is ", input);
        /* Pass the records that the program reports, so that the state describes the same moment as the records. */
        psu_info psus[KVRN_PSU_MAX];
        psu_info_get_all(psus, NULL);
        printf("%d\n", get_device_state(psus));
        return 0;
      }
    }
    if (get_timestamp_mono_ms() >= end) break;
    nanosleep(&rest, NULL);
  }
  printf("mains on both inputs\n");
  return 1;
}
