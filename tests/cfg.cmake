kvrn_test(cfg_test cfg_test.cpp cfg_edit_test.cpp cfg_protect_test.cpp)

# The comparisons of keys are counted.
kvrn_inside_test(cfg_pieces_test cfg_pieces_test.cpp)
target_link_options(cfg_pieces_test PRIVATE -Wl,--wrap=_ZN4kvrn11cfg_key_cmpEPKcS1_)
