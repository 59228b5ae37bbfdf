pelto_tests(usage
  RULES CommandStatsTest.cpp EventCounterTest.cpp FileExtensionTest.cpp FileTypeStatsTest.cpp
        LogLineTest.cpp LogLineReaderTest.cpp
  EDGES FileExtensionApiTest.cpp LogHarvesterTest.cpp LogLineReaderStreamTest.cpp)
