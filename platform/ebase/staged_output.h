#ifndef KAV_EPUB_PLATFORM_EBASE_STAGED_OUTPUT_H_
#define KAV_EPUB_PLATFORM_EBASE_STAGED_OUTPUT_H_

#include <string>

namespace kav_ebase {

// An output file written under a temporary name beside its target and
// renamed over the target only when complete, so readers never see a partial
// file and a failure leaves an earlier file untouched.
class StagedOutput {
 public:
  explicit StagedOutput(std::string target);
  // Removes the temporary file unless it was committed.
  ~StagedOutput();
  StagedOutput(const StagedOutput&) = delete;
  StagedOutput& operator=(const StagedOutput&) = delete;

  // Creates an empty temporary file with a fresh name in the target's
  // directory. False when that directory is missing or not writable.
  bool Reserve();
  const std::string& temporaryPath() const { return temporary_; }
  // Renames the temporary file over the target.
  bool Commit();

 private:
  std::string target_;
  std::string temporary_;
  bool committed_ = false;
};

}  // namespace kav_ebase

#endif  // KAV_EPUB_PLATFORM_EBASE_STAGED_OUTPUT_H_
