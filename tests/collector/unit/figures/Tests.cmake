collector_tests(figures
  AnswerTest.cpp
  FiguresTest.cpp
  GuardTest.cpp
  TablesTest.cpp
  ThresholdTest.cpp
  VersionOrderTest.cpp)
target_link_libraries(figures_tests PRIVATE collector_test_support)
