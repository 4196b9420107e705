#include <string>

#include "support/test_support.h"

namespace {

// Runs the probe on library from dir with an empty environment (so no
// LD_LIBRARY_PATH): its exit status, with what it wrote in errors.
int RunProbe(const std::string& dir, const std::string& library, std::string* errors) {
  return kavtest::RunCommand(
      "cd '" + dir + "' && env -i '" KAV_DLOPEN_PROBE "' '" + library + "' CreateEpubService",
      errors);
}

// The same library copied away from its companions fails to load, so its
// success owes nothing to the system's search path.
TEST(RunPath, EpubLibraryFindsItsCompanionsBesideItselfOnly) {
  kavtest::TempDir elsewhere;
  const std::string library = kavtest::BuildPath("libKav_Epub.so");
  const std::string lonely = elsewhere / "libKav_Epub.so";
  std::string errors, lonelyErrors;
  EXPECT_EQ(0, RunProbe(elsewhere.path(), library, &errors)) << errors;
  kavtest::WriteFile(lonely, kavtest::ReadFile(library));
  EXPECT_EQ(1, RunProbe(elsewhere.path(), lonely, &lonelyErrors));
  EXPECT_NE(std::string::npos, lonelyErrors.find("libKav_")) << lonelyErrors;
}

}  // namespace
