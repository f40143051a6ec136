# Outputs, alarms, power budget, battery files, cache writers and the lock.
kvrn_test(outputs_test outputs_test.cpp)
kvrn_test(device_state_test device_state_test.cpp)
kvrn_test(budget_test budget_test.cpp)
kvrn_test(battery_files_test battery_files_test.cpp)
kvrn_test(lock_test lock_test.cpp)
kvrn_test(writer_test writer_test.cpp)
