#ifndef KAV_EPUB_BUILDER_BUILDER_TABLE_H_
#define KAV_EPUB_BUILDER_BUILDER_TABLE_H_

#include <map>
#include <mutex>

class EpubBase;

namespace kav_builder {

// Settings that the extension interface gives a builder, kept beside it
// rather than in it, so that EpubBase keeps the size that hosts built
// against earlier headers allocate. One value a builder; a builder without
// one reads the value type's default. Safe from several threads for
// different builders.
template <typename Value>
class BuilderTable {
 public:
  Value Of(const EpubBase* builder) const {
    std::lock_guard<std::mutex> hold(lock_);
    auto found = values_.find(builder);
    return found == values_.end() ? Value() : found->second;
  }
  void Set(const EpubBase* builder, const Value& value) {
    std::lock_guard<std::mutex> hold(lock_);
    values_[builder] = value;
  }
  void Forget(const EpubBase* builder) {
    std::lock_guard<std::mutex> hold(lock_);
    values_.erase(builder);
  }

 private:
  mutable std::mutex lock_;
  std::map<const EpubBase*, Value> values_;
};

}  // namespace kav_builder

#endif  // KAV_EPUB_BUILDER_BUILDER_TABLE_H_
