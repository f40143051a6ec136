kvrn_test(util_test util_test.cpp)
