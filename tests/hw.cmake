kvrn_test(hw_test hw_test.cpp)
target_link_libraries(hw_test PRIVATE PkgConfig::GPIOD)
