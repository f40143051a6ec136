kvrn_test(cfg_test cfg_test.cpp cfg_edit_test.cpp cfg_protect_test.cpp)

# The hidden pieces, compiled in; the comparisons of keys are counted.
file(GLOB cfg_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cfg/*.cpp)
kvrn_test(cfg_pieces_test cfg_pieces_test.cpp ${cfg_sources} ${PROJECT_SOURCE_DIR}/util/number.cpp
  ${PROJECT_SOURCE_DIR}/util/read_file.cpp)
target_link_options(cfg_pieces_test PRIVATE -Wl,--wrap=_ZN4kvrn11cfg_key_cmpEPKcS1_)
