collector_tests(intake
  Base64TextTest.cpp CaselessRemovalTest.cpp CodePageTest.cpp FormTest.cpp HeaderValueTest.cpp
  IntakeTest.cpp KeptTextTest.cpp PayloadTest.cpp ReportReaderTest.cpp SenderTest.cpp
  TextDecoderTest.cpp)
# Forms and reports are written by the sender's own rules, in code page 1252.
target_sources(intake_tests PRIVATE ../support/AnsiText1252.cpp)
target_link_libraries(intake_tests PRIVATE pelto_upload)
