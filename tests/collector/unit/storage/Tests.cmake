collector_tests(storage
  AddressCaseTest.cpp
  AgreementTest.cpp
  ErasureTest.cpp
  FaultTest.cpp
  KeepingTest.cpp
  Model.cpp
  PackingTest.cpp
  Samples.cpp)
target_link_libraries(storage_tests PRIVATE collector_test_support)
