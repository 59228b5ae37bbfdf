collector_tests(report
  CalendarTest.cpp GuidTest.cpp MachineClassTest.cpp ReportTest.cpp RetryRuleTest.cpp)
