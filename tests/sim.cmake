# The simulated device itself, through the real libgpiod and plain ioctls.
kvrn_test(sim_test sim_test.cpp)
target_link_libraries(sim_test PRIVATE PkgConfig::GPIOD)
