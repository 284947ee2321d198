# The README's C++ example is apps/examples/hello.cpp, word for word (that file is compiled
# and run by the tests, so the README cannot show code that no longer builds).
# Run by CTest with cmake -P and README, HELLO_SOURCE.
file(READ ${README} readme)
file(READ ${HELLO_SOURCE} hello)
string(FIND "${readme}" "```cpp\n" start)
if(start EQUAL -1)
  message(FATAL_ERROR "no ```cpp block in ${README}")
endif()
math(EXPR start "${start}+7")
string(SUBSTRING "${readme}" ${start} -1 rest)
string(FIND "${rest}" "```" end)
string(SUBSTRING "${rest}" 0 ${end} block)
if(NOT block STREQUAL hello)
  message(FATAL_ERROR "the ```cpp block of README.md differs from ${HELLO_SOURCE}")
endif()
