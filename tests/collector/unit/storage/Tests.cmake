collector_tests(storage AgreementTest.cpp Model.cpp Samples.cpp)
