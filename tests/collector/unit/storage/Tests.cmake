collector_tests(storage
  AddressCaseTest.cpp
  AgreementTest.cpp
  ErasureTest.cpp
  ExportLineTest.cpp
  FaultTest.cpp
  KeepingTest.cpp
  LeafPageTest.cpp
  MigrationTest.cpp
  Model.cpp
  PackingTest.cpp
  Samples.cpp
  SummariesTest.cpp)
target_link_libraries(storage_tests PRIVATE collector_test_support)
target_compile_definitions(storage_tests
  PRIVATE PELTO_STORAGE_SAMPLES="${CMAKE_CURRENT_LIST_DIR}")
