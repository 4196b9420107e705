// The id index answers exactly as a substring search of the registry text.
#include "xml/id_index.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Every string over "ab#|" up to four characters long.
std::vector<std::string> AllQuestions() {
  std::vector<std::string> all = {""};
  for (size_t start = 0, length = 0; length < 4; ++length) {
    size_t end = all.size();
    for (size_t i = start; i < end; ++i) {
      for (char c : std::string("ab#|")) all.push_back(all[i] + c);
    }
    start = end;
  }
  return all;
}

TEST(IdIndex, AnswersLikeTheRegistryTextForPlainAndOddIds) {
  const std::vector<std::string> questions = AllQuestions();
  // Plain ids first (the fast answers), then ids holding the separators.
  for (const std::vector<std::string>& ids :
       {std::vector<std::string>{"a", "ab", "ba", "b"},
        std::vector<std::string>{"a", "ab", "b#a", "a|#b", "|", "bb"}}) {
    kav_xml::IdIndex index;
    std::string registry = "|";
    std::vector<xmlNode*> owners;
    xmlNode nodes[8] = {};
    for (const std::string& id : ids) {
      index.Register(registry, owners, id, &nodes[owners.size()]);
      for (const std::string& q : questions) {
        ASSERT_EQ(registry.find("#" + q + "|") != std::string::npos, index.HasIdKey(registry, q))
            << registry << " id " << q;
        ASSERT_EQ(registry.find("|" + q + "|") != std::string::npos,
                  index.HasFragmentKey(registry, q))
            << registry << " fragment " << q;
      }
    }
    ASSERT_EQ(ids.size(), owners.size());
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(i < ids.size(), index.IsOwner(&nodes[i])) << i;
  }
}

}  // namespace
