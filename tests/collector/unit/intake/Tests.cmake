collector_tests(intake IntakeTest.cpp)
# Forms and reports are written by the sender's own rules.
target_link_libraries(intake_tests PRIVATE pelto_upload)
