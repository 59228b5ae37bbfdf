collector_tests(access
  AccountTest.cpp AccountsTest.cpp PasswordTest.cpp ReceiptTest.cpp)
target_link_libraries(access_tests PRIVATE collector_test_support)
