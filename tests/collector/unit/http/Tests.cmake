collector_tests(http AddressTest.cpp BudgetTest.cpp CookieTest.cpp DeadlinesTest.cpp
  EndpointTest.cpp FramingTest.cpp RateCounterTest.cpp RequestLineTest.cpp ResponseTest.cpp
  RoutesTest.cpp TargetTest.cpp TextTest.cpp)
