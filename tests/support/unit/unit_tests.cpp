// The Python module unit_tests: runs the tests that are linked into it.

#include "python/api.h"

#include <gtest/gtest.h>

namespace {

PyObject* run(PyObject* /*self*/, PyObject* args) {
  const char* program = nullptr;
  const char* filter = nullptr;
  if (PyArg_ParseTuple(args, "ss", &program, &filter) == 0) {
    return nullptr;
  }
  int count = 1;
  char* words[] = {const_cast<char*>(program), nullptr};
  testing::InitGoogleTest(&count, words);
  testing::GTEST_FLAG(filter) = filter;
  (void)RUN_ALL_TESTS();  // the numbers say more
  const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
  return Py_BuildValue("ii", tests.successful_test_count(), tests.failed_test_count());
}

PyMethodDef functions[] = {
    {"run", run, METH_VARARGS,
     "run(program, filter)\n\n"
     "Run the tests whose names match a filter as GoogleTest takes it (\"*\" for all); program is\n"
     "the name to go by. Return the numbers of those that passed and failed."},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace

PyMODINIT_FUNC initunit_tests() {
  Py_InitModule3("unit_tests", functions, "GoogleTest's tests of the module's C++.");
}
