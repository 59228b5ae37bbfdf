collector_tests(intake
  Base64TextTest.cpp CaselessRemovalTest.cpp CodePageTest.cpp FormTest.cpp HeaderValueTest.cpp
  IntakeTest.cpp PayloadTest.cpp ReportReaderTest.cpp TextDecoderTest.cpp)
# Forms and reports are written by the sender's own rules.
target_link_libraries(intake_tests PRIVATE pelto_upload)
