// Carries what tests/CMakeLists.txt compiles once for all tests; nothing is in it.
