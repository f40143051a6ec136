/* SPDX-License-Identifier: MIT */
/* Lists the power sources with their voltages. */
#include <kvrn/kvrn.h>
#include <stdio.h>

int main(void) {
  psu_info psus[KVRN_PSU_MAX];
  int count = psu_info_get_all(psus, NULL);
  for (int i = 0; i < count; i++) {
    /* A battery and an input have different voltage fields. Not every board can measure the voltage of an input. */
    int battery = kvrn_u32(psus[i].type) == KVRN_PSU_TYPE_BATTERY;
    int32_t mv = kvrn_i32(battery ? psus[i].voltage_mv : psus[i].supply_vout_mv);
    printf("PSU %d: %s", i, psus[i].status & KVRN_PSU_STATUS_USABLE ? "usable" : "not usable");
    if (mv == KVRN_PSU_UNKNOWN_I32)
      printf(", voltage unknown\n");
    else
      printf(", %d mV\n", (int)mv);
  }
}
