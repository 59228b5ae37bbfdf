pelto_tests(usage
  RULES CommandStatsTest.cpp EntryTableTest.cpp EventCounterTest.cpp FileTypeStatsTest.cpp
        LogLineTest.cpp LogLineReaderTest.cpp MarkFinderTest.cpp
  EDGES LogHarvesterTest.cpp LogLineReaderStreamTest.cpp)
pelto_tests_in_code_pages(usage *CodePage.*)
