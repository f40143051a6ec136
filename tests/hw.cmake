kvrn_test(hw_test hw_test.cpp)
