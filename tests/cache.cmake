kvrn_test(cache_test cache_test.cpp)
