kvrn_fuzz(fuzz_cfg_parse cfg_parse_fuzz.cpp)
kvrn_fuzz(fuzz_cfg_open cfg_open_fuzz.cpp)
kvrn_fuzz(fuzz_cfg_edit cfg_edit_fuzz.cpp)
