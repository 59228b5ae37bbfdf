collector_tests(commands
  ImportLineTest.cpp ImportTest.cpp LineFileTest.cpp LineOrderTest.cpp
  ProductNameTest.cpp)
target_link_libraries(commands_tests PRIVATE collector_test_support)
