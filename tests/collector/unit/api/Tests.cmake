collector_tests(api ApiRoutesTest.cpp ApiTest.cpp ParticipantsTest.cpp)
target_link_libraries(api_tests PRIVATE collector_test_support)
