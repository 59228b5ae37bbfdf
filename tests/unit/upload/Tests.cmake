pelto_tests(upload
  RULES Base64Test.cpp DeliveryVerdictTest.cpp MultipartFormTest.cpp ReportPayloadTest.cpp
        UploadAddressTest.cpp
  EDGES AnsiConverterTest.cpp MultipartSenderTest.cpp UploadJobTest.cpp UploadNotifierTest.cpp)
pelto_tests_in_code_pages(upload *CodePage.*)
