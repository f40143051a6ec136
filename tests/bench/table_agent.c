/* SPDX-License-Identifier: MIT */
/* The least sub-agent that net-snmp's table helper makes: table_agent SOCKET ROWS COLUMNS serves that many constants.
 */
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <stdlib.h>

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const int rows = (int)strtol(argv[2], NULL, 10);
  const int columns = (int)strtol(argv[3], NULL, 10);
  setenv("MIBS", "", 1);
  snmp_disable_log();
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, argv[1]);
  init_agent("table_agent");
  netsnmp_table_data_set* table = netsnmp_create_table_data_set("constants");
  netsnmp_table_dataset_add_index(table, ASN_INTEGER);
  for (int column = 1; column <= columns; ++column)
    netsnmp_table_set_add_default_row(table, (unsigned)column, ASN_INTEGER, 0, NULL, 0);
  for (long number = 1; number <= rows; ++number) {
    netsnmp_table_row* row = netsnmp_create_table_data_row();
    netsnmp_table_row_add_index(row, ASN_INTEGER, &number, sizeof number);
    for (int column = 1; column <= columns; ++column)
      netsnmp_set_row_column(row, (unsigned)column, ASN_INTEGER, &number, sizeof number);
    netsnmp_table_dataset_add_row(table, row);
  }
  const oid root[] = {1, 3, 6, 1, 4, 1, 47474, 1, 5, 3, 2};
  netsnmp_register_table_data_set(
      netsnmp_create_handler_registration("constants", NULL, root, OID_LENGTH(root), HANDLER_CAN_RONLY), table, NULL);
  init_snmp("table_agent");
  for (;;) agent_check_and_process(1);
}
