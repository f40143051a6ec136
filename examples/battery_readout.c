/* SPDX-License-Identifier: MIT */
/* battery_readout [CELLS]: prints the smoothed voltage of the hwmon battery, and the voltage that it would have without
   load. Compare the second value with a meter at the terminals when the battery is at rest. */
#include <kvrn/kvrn.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

int main(int argc, char** argv) {
  const struct timespec rest = {0, 50 * 1000 * 1000};
  avg_value_buff voltages;
  avg_value_buff currents;
  /* Each call returns 1 on success. */
  if (avg_value_buff_init(&voltages, 8) + avg_value_buff_init(&currents, 8) != 2) return 1;
  int samples = 0;
  for (int i = 0; i < 8; i++) {
    int mv = 0;
    int ma = 0;
    /* Use a voltage only together with the current at which it was measured. */
    if (i2c_hwmon_readint("mon-battery", "in0_input", &mv) == 0 &&
        i2c_hwmon_readint("mon-battery", "curr1_input", &ma) == 0) {
      avg_value_buff_add(&voltages, mv);
      avg_value_buff_add(&currents, ma);
      samples++;
    }
    nanosleep(&rest, NULL);
  }
  if (samples == 0) {
    printf("the monitor does not answer\n");
  } else {
    int mv = (int)voltages.average;
    int ma = (int)currents.average; /* negative while charging */
    int resistance = get_battery_internal_resistance(2);
    int open_mv = getVoltageOpenCircuit(mv, ma, resistance, argc > 1 ? atoi(argv[1]) : 1);
    printf("%d mV at %d mA, %d mV without load\n", mv, ma, open_mv);
  }
  avg_value_buff_clean(&voltages);
  avg_value_buff_clean(&currents);
  return samples == 0;
}
