collector_tests(storage
  AgreementTest.cpp
  ErasureTest.cpp
  FaultTest.cpp
  KeepingTest.cpp
  Model.cpp
  PackingTest.cpp
  Samples.cpp)
