collector_tests(access
  AccountTest.cpp AccountsTest.cpp AuditTest.cpp LoginLimiterTest.cpp PasswordTest.cpp ReceiptTest.cpp
  SessionsTest.cpp SetupTokenTest.cpp TokenTest.cpp)
target_link_libraries(access_tests PRIVATE collector_test_support)
