#include "platform/mobi/index_counts.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "platform/mobi/text_records.h"

namespace kavmobi {
namespace {

// An INDX record's header: "INDX", its length, then at 24 the number of
// entries (in the first record of an index: the number of records that
// follow it) and at 36 the index's total, which only the first one holds.
bool IsIndx(const MOBIPdbRecord* record) {
  return record != nullptr && record->data != nullptr && record->size >= 40 &&
         memcmp(record->data, "INDX", 4) == 0;
}

bool IndexFits(const MOBIData& m, const uint32_t* number) {
  if (number == nullptr || *number == MOBI_NOTSET) return true;
  const MOBIPdbRecord* first = mobi_get_record_by_seqnumber(&m, *number + mobi_get_kf8offset(&m));
  if (!IsIndx(first)) return true;  // libmobi refuses it before it allocates
  const uint32_t headerLength = BigEndian32(first->data + 4);
  // Without its TAGX section the first record is read as holding entries,
  // against a total of none.
  if (headerLength > first->size - 4 || memcmp(first->data + headerLength, "TAGX", 4) != 0) {
    return true;
  }
  const uint32_t records = BigEndian32(first->data + 24);
  const uint64_t total = BigEndian32(first->data + 36);
  // Each entry has a two-byte place in its record's offset table, so a
  // record of n bytes lists fewer than n / 2; and libmobi takes the index
  // only when the records' counts add up to the total.
  uint64_t listed = 0;
  uint64_t room = 0;
  const MOBIPdbRecord* record = first;
  for (uint32_t i = 0; i < records; ++i) {
    record = record->next;
    if (!IsIndx(record)) return false;
    listed += BigEndian32(record->data + 24);
    room += record->size / 2;
    if (listed > total) return false;
  }
  return listed == total && total <= room;
}

}  // namespace

IndexCounts CheckIndexCounts(const MOBIData& m) {
  IndexCounts counts;
  if (m.mh == nullptr) return counts;
  // The indexes libmobi reads, under the conditions it reads them.
  if (mobi_exists_skel_indx(&m) && mobi_exists_frag_indx(&m)) {
    counts.textIndexesFit = IndexFits(m, m.mh->skeleton_index);
  }
  if (mobi_exists_frag_indx(&m)) {
    counts.textIndexesFit = counts.textIndexesFit && IndexFits(m, m.mh->fragment_index);
  }
  if (mobi_exists_guide_indx(&m)) counts.tocIndexesFit = IndexFits(m, m.mh->guide_index);
  if (mobi_exists_ncx(&m)) {
    counts.tocIndexesFit = counts.tocIndexesFit && IndexFits(m, m.mh->ncx_index);
  }
  return counts;
}

}  // namespace kavmobi
