pelto_tests(ui
  RULES ConsentAnswerTest.cpp FadeInTest.cpp
  EDGES)
