collector_tests(figures
  ThresholdTest.cpp
  VersionOrderTest.cpp)
target_link_libraries(figures_tests PRIVATE collector_test_support)
