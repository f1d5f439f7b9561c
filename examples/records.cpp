// records: worker threads serialise records through XDR, and the main
// thread reads them back and checks every field.
//
//   1. Four workers (thread layer) each encode 50 records into one
//      scrambled XDR file stream, records.xdr. The stream is shared: a
//      worker takes the write side of a read-write lock for each record,
//      while the main thread takes the read side to watch the progress.
//   2. A state trap collects the workers in the order in which they end;
//      the main thread joins each one as it arrives.
//   3. The main thread unscrambles and decodes the file and checks every
//      field of every record, and that each worker's records kept their
//      order.
//   4. The same records go through a memory stream whose overflow hook
//      grows its buffer, and back.
//   5. And through the object stream vtmXdr, whose records stream
//      themselves (vtmXdrStreamable).
//
// The program exits 0 only when every check held.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "orvane/sync.h"
#include "orvane/threads.h"
#include "orvane/vtmxdr.h"
#include "orvane/xdr.h"

namespace {

constexpr int kWorkers = 4;
constexpr int kRecordsPerWorker = 50;
constexpr size_t kRecordCount = static_cast<size_t>(kWorkers) * kRecordsPerWorker;
constexpr int kCodeLength = 8;
constexpr uint32_t kMaxPayload = 64;
constexpr const char *kFileName = "records.xdr";
// The scrambling key is made from a text that writer and reader share.
constexpr const char *kKeyText = "records example key";

int failures = 0;

bool check(bool held, const char *what) {
  printf("  %s %s\n", held ? "ok  " : "FAIL", what);
  if (!held) {
    ++failures;
  }
  return held;
}

// One record: a field of each kind that the filters carry.
struct Record {
  uint8_t worker;
  uint16_t sequence;
  int32_t delta;
  uint32_t id;
  float ratio;
  double amount;
  OrvBool flagged;
  char code[kCodeLength];  // fixed length, no terminator on the wire
  char *name;              // a NUL-terminated string
  uint8_t *payload;        // a counted byte sequence
  uint32_t payloadLength;
};

// The record that worker writes as its sequence-th: every field follows
// from the two numbers, so the reader knows what to expect. The name and
// payload live in the caller's buffers.
void makeRecord(int worker, int sequence, Record &r, char (&name)[32], uint8_t (&payload)[kMaxPayload]) {
  r.worker = static_cast<uint8_t>(worker);
  r.sequence = static_cast<uint16_t>(sequence);
  r.delta = -(worker * 1000 + sequence);
  r.id = 0x10000000u * static_cast<uint32_t>(worker) + static_cast<uint32_t>(sequence) * 7919u;
  r.ratio = static_cast<float>(sequence) / 8.0f;
  r.amount = worker * 1000.25 + sequence * 0.5;
  r.flagged = sequence % 3 == 0;
  char code[kCodeLength + 1];
  snprintf(code, sizeof code, "W%dS%05d", worker, sequence);
  memcpy(r.code, code, kCodeLength);
  snprintf(name, sizeof name, "worker %d record %d", worker, sequence);
  r.name = name;
  r.payloadLength = static_cast<uint32_t>(sequence % 17 + 1);
  for (uint32_t i = 0; i < r.payloadLength; ++i) {
    payload[i] = static_cast<uint8_t>(worker * 31 + sequence + static_cast<int>(i));
  }
  r.payload = payload;
}

// True when a decoded record holds exactly what its writer wrote; prints
// the first field that differs.
bool sameAsWritten(const Record &got) {
  Record want{};
  char name[32];
  uint8_t payload[kMaxPayload];
  if (got.worker >= kWorkers || got.sequence >= kRecordsPerWorker) {
    printf("  FAIL a record of worker %u, number %u, that nobody wrote\n", got.worker, got.sequence);
    return false;
  }
  makeRecord(got.worker, got.sequence, want, name, payload);
  const char *field = nullptr;
  if (got.delta != want.delta) {
    field = "delta";
  } else if (got.id != want.id) {
    field = "id";
  } else if (got.ratio != want.ratio) {
    field = "ratio";
  } else if (got.amount != want.amount) {
    field = "amount";
  } else if ((got.flagged != 0) != (want.flagged != 0)) {
    field = "flagged";
  } else if (memcmp(got.code, want.code, kCodeLength) != 0) {
    field = "code";
  } else if (got.name == nullptr || strcmp(got.name, want.name) != 0) {
    field = "name";
  } else if (got.payloadLength != want.payloadLength || got.payload == nullptr ||
             memcmp(got.payload, want.payload, want.payloadLength) != 0) {
    field = "payload";
  }
  if (field != nullptr) {
    printf("  FAIL record %u of worker %u: the field %s differs\n", got.sequence, got.worker, field);
    return false;
  }
  return true;
}

// The record's XDR filter: it encodes, decodes or releases the record as
// the stream's direction says.
int recordFilter(CXDR *s, Record *r) {
  return cxdr_UInt8(s, &r->worker) && cxdr_UInt16(s, &r->sequence) && cxdr_Int32(s, &r->delta) &&
         cxdr_UInt32(s, &r->id) && cxdr_Float32(s, &r->ratio) && cxdr_Float64(s, &r->amount) &&
         cxdr_OrvBool(s, &r->flagged) && cxdr_opaque(s, r->code, kCodeLength) &&
         cxdr_wrapstring(s, &r->name) && cxdr_UInt8s(s, &r->payload, &r->payloadLength, kMaxPayload);
}

// Releases what decoding allocated, through the same filter.
void releaseRecord(Record &r) {
  CXDR freeing;
  cxdrmem_create(&freeing, CXDR_FREE, nullptr, 0);
  recordFilter(&freeing, &r);
  cxdrmem_destroy(&freeing);
}

// --- 1 and 2: the workers -----------------------------------------------

// The stream all workers write to, and the lock that guards it.
struct Journal {
  orvRWLock lock;  // write side: appending a record; read side: progress
  CXDR stream;     // the scrambled file stream
  int written;     // records in the stream
  int failed;      // records that did not encode
};

struct Worker {
  Journal *journal;
  int index;
  orvThread *thread;
};

// A worker: each record is preceded by a one-byte "more" flag, so that the
// reader knows where the file ends.
void workerMain(void *argument) {
  Worker *w = static_cast<Worker *>(argument);
  Journal *j = w->journal;
  for (int sequence = 0; sequence < kRecordsPerWorker; ++sequence) {
    Record r{};
    char name[32];
    uint8_t payload[kMaxPayload];
    makeRecord(w->index, sequence, r, name, payload);
    OrvBool8 more = 1;
    orvRWLockWriteLock(&j->lock);
    if (cxdr_OrvBool8(&j->stream, &more) && recordFilter(&j->stream, &r)) {
      ++j->written;
    } else {
      ++j->failed;
    }
    orvRWLockUnlock(&j->lock);
    orvThreadYield();  // let the others in: the records interleave
  }
}

int progress(Journal &journal) {
  orvRWLockReadLock(&journal.lock);
  int written = journal.written;
  orvRWLockUnlock(&journal.lock);
  return written;
}

bool writeWithWorkers(uint32_t key) {
  printf("records: %d workers write %d records each to the scrambled file %s\n", kWorkers, kRecordsPerWorker,
         kFileName);
  Journal journal{};
  if (!check(orvRWLockCreate(&journal.lock) == ORV_OK, "the read-write lock")) {
    return false;
  }
  if (!check(cxdrfile_create(&journal.stream, CXDR_ENCODE, kFileName, ORV_FILE_WRITE | ORV_FILE_CREATE) == 1,
             "the file stream opens for writing")) {
    orvRWLockDestroy(&journal.lock);
    return false;
  }
  // The stream makes its scrambling state from the key; the flag switches
  // scrambling on.
  journal.stream.encryptinit(&journal.stream, key);
  journal.stream.encryptFlag = 1;

  // A trap for state "not running" collects the workers as they end. Each
  // worker is created suspended, so that the trap is set before it can end.
  orvStateTrap *trap = orvThreadStateTrapCreate(ORV_THREAD_NOT_RUNNING);
  Worker workers[kWorkers];
  int started = 0;
  for (int i = 0; i < kWorkers; ++i) {
    workers[i] = Worker{&journal, i, nullptr};
    if (orvThreadCreate(workerMain, &workers[i], 0, &workers[i].thread, nullptr) != ORV_OK) {
      break;
    }
    orvThreadStateTrapSet(trap, workers[i].thread);
    orvThreadContinue(workers[i].thread);
    ++started;
  }
  check(started == kWorkers, "every worker starts");

  // Collect the workers in the order in which they end.
  for (int collected = 0; collected < started; ++collected) {
    int status = 0;
    orvThread *ended = orvThreadStateTrapNext(trap, &status);
    int index = -1;
    for (int i = 0; i < started; ++i) {
      if (workers[i].thread == ended) {
        index = i;
      }
    }
    if (!check(ended != nullptr && status == 0 && index >= 0, "the trap gives an ended worker")) {
      break;
    }
    uint32_t exitCode = 1;
    orvThreadJoin(ended, &exitCode);
    printf("  worker %d ended (exit status %u); %d records in the file so far\n", index, exitCode,
           progress(journal));
    orvThreadDestroy(ended);
    workers[index].thread = nullptr;
  }
  orvThreadStateTrapDestroy(trap);

  // The end of the records: a "more" flag of 0.
  OrvBool8 more = 0;
  bool ended = cxdr_OrvBool8(&journal.stream, &more) == 1;
  cxdrfile_destroy(&journal.stream);
  orvRWLockDestroy(&journal.lock);
  check(ended && journal.failed == 0 && static_cast<size_t>(journal.written) == kRecordCount,
        "every record is in the file");
  return failures == 0;
}

// --- 3: reading the file back ---------------------------------------------

bool readBack(uint32_t key, std::vector<Record> &records) {
  printf("records: reading %s back\n", kFileName);
  CXDR in;
  if (!check(cxdrfile_create(&in, CXDR_DECODE, kFileName, ORV_FILE_READ | ORV_FILE_MUST_EXIST) == 1,
             "the file stream opens for reading")) {
    return false;
  }
  in.decryptinit(&in, key);
  in.decryptFlag = 1;
  bool seen[kWorkers][kRecordsPerWorker] = {};
  int lastSequence[kWorkers];
  for (int &last : lastSequence) {
    last = -1;
  }
  bool allSame = true;
  bool inOrder = true;
  bool decoded = true;
  for (;;) {
    OrvBool8 more = 0;
    if (!cxdr_OrvBool8(&in, &more)) {
      decoded = false;
      break;
    }
    if (more == 0) {
      break;
    }
    Record r{};
    if (!recordFilter(&in, &r)) {
      releaseRecord(r);
      decoded = false;
      break;
    }
    if (!sameAsWritten(r)) {
      allSame = false;
      releaseRecord(r);
      continue;
    }
    inOrder = inOrder && r.sequence > lastSequence[r.worker];
    lastSequence[r.worker] = r.sequence;
    seen[r.worker][r.sequence] = true;
    records.push_back(r);
  }
  cxdrfile_destroy(&in);
  bool all = true;
  for (const auto &worker : seen) {
    for (bool s : worker) {
      all = all && s;
    }
  }
  check(decoded, "the file decodes up to its end mark");
  check(allSame, "every field of every record is as written");
  check(all && records.size() == kRecordCount, "every record is there, once");
  check(inOrder, "each worker's records kept their order");
  return failures == 0;
}

// --- 4: a memory stream that grows --------------------------------------

int growthCount = 0;

// The encode hook: doubles the buffer, which the stream owns, and keeps
// the data written so far.
int growHook(CXDR *s) {
  uint32_t size = s->size != 0 ? s->size * 2 : 256;
  if (size < s->size) {
    return 0;
  }
  void *grown = realloc(s->ownedStorage, size);
  if (grown == nullptr) {
    return 0;
  }
  s->ownedStorage = grown;
  s->buffer = static_cast<uint8_t *>(grown);
  s->size = size;
  s->limit = size;
  ++growthCount;
  return 1;
}

void throughMemory(const std::vector<Record> &records) {
  printf("records: the same records through a growing memory stream\n");
  CXDR out;
  cxdrmem_create(&out, CXDR_ENCODE, nullptr, 0);
  out.overflowMode = CXDR_OVERFLOW_HOOKS;
  out.encodeHook = growHook;
  uint32_t count = static_cast<uint32_t>(records.size());
  bool encoded = cxdr_UInt32(&out, &count) == 1;
  for (const Record &r : records) {
    Record copy = r;
    encoded = encoded && recordFilter(&out, &copy) == 1;
  }
  printf("  %u bytes in a buffer of %u, grown %d times\n", out.position, out.size, growthCount);
  check(encoded && growthCount > 0, "every record encodes, the buffer growing as needed");

  // Decode from the buffer: its size is a multiple of 4, as a memory
  // stream needs.
  CXDR in;
  cxdrmem_create(&in, CXDR_DECODE, out.buffer, out.size);
  uint32_t decodedCount = 0;
  bool same = cxdr_UInt32(&in, &decodedCount) == 1 && decodedCount == count;
  for (uint32_t i = 0; same && i < decodedCount; ++i) {
    Record r{};
    same = recordFilter(&in, &r) == 1 && sameAsWritten(r) && r.worker == records[i].worker &&
           r.sequence == records[i].sequence;
    releaseRecord(r);
  }
  check(same, "the memory stream gives every record back, in order");
  cxdrmem_destroy(&in);
  cxdrmem_destroy(&out);  // releases the grown buffer
}

// --- 5: the object stream -------------------------------------------------

// A record that streams itself. vtmXdr writes little-endian and unaligned;
// long and unsigned long travel as 4 bytes.
class StreamedRecord : public vtmXdrStreamable {
 public:
  Record r{};

  void stream(vtmXdr &x) override {
    bool decoding = x.getDirection() == vtmXdr::decode;
    unsigned char worker = r.worker;
    unsigned short sequence = r.sequence;
    long delta = r.delta;
    unsigned long id = r.id;
    float ratio = r.ratio;
    double amount = r.amount;
    int flagged = r.flagged;
    unsigned long payloadLength = r.payloadLength;
    x.xdr(worker);
    x.xdr(sequence);
    x.xdr(delta);
    x.xdr(id);
    x.xdr(ratio);
    x.xdr(amount);
    x.xdr(flagged);
    x.xdr(reinterpret_cast<signed char *>(r.code), kCodeLength);
    x.xdr(r.name);  // decoding into null: a heap block of the library
    x.xdr(payloadLength);
    if (decoding) {
      if (payloadLength == 0 || payloadLength > kMaxPayload) {
        return;  // left empty: the check finds it
      }
      r.payload = static_cast<uint8_t *>(orvMemoryAllocFunc(payloadLength));
      if (r.payload == nullptr) {
        return;
      }
    }
    x.xdr(r.payload, payloadLength);
    if (decoding) {
      r.worker = worker;
      r.sequence = sequence;
      r.delta = static_cast<int32_t>(delta);
      r.id = static_cast<uint32_t>(id);
      r.ratio = ratio;
      r.amount = amount;
      r.flagged = flagged;
      r.payloadLength = static_cast<uint32_t>(payloadLength);
    }
  }

  // Releases what decoding allocated.
  void release() {
    orvMemoryFreeFunc(r.name);
    orvMemoryFreeFunc(r.payload);
    r.name = nullptr;
    r.payload = nullptr;
  }
};

void throughObjectStream(const std::vector<Record> &records) {
  printf("records: the same records through the object stream vtmXdr\n");
  // A failing member sets the stream's status and throws its address.
  vtmXdr out;
  unsigned long length = 0;
  unsigned char *data = nullptr;
  try {
    out.setBuffer(vtmXdr::encode, nullptr, 0);
    for (const Record &r : records) {
      StreamedRecord object;
      object.r = r;
      object.stream(out);
    }
    data = out.getBuffer(length);
  } catch (vtmXdr *failed) {
    printf("  encoding failed: status %d at member %lu\n", static_cast<int>(failed->getStatus()),
           failed->getMember());
  }
  printf("  %lu bytes\n", length);
  if (!check(data != nullptr, "every record encodes")) {
    return;
  }

  vtmXdr in;
  bool same = true;
  StreamedRecord object;
  try {
    in.setBuffer(vtmXdr::decode, data, length);
    for (size_t i = 0; same && i < records.size(); ++i) {
      object.stream(in);
      same = sameAsWritten(object.r) && object.r.worker == records[i].worker &&
             object.r.sequence == records[i].sequence;
      object.release();
    }
  } catch (vtmXdr *failed) {
    printf("  decoding failed: status %d at member %lu\n", static_cast<int>(failed->getStatus()),
           failed->getMember());
    object.release();
    same = false;
  }
  check(same && in.getBufferPosition() == length, "the object stream gives every record back, in order");

  // One more record than was written: the decoder refuses to read past the
  // data it was lent.
  bool refused = false;
  try {
    object.stream(in);
  } catch (vtmXdr *failed) {
    refused = failed->getStatus() == vtmXdr::endOfData;
  }
  object.release();
  check(refused, "reading past the end fails with status 7 (end of data)");
}

}  // namespace

int main() {
  printf("records: initialising the services\n");
  int status = servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "records", ORV_ITEM_CONFIGURATION_KEY,
                                         "OrvaneRecords", ORV_ITEM_END);
  if (status != 0) {
    fprintf(stderr,
            "records: servicesProcessInitialize returned %d; set ORVNLSTAB to the library's NLS table "
            "(orvane.nls)\n",
            status);
    return 1;
  }
  uint32_t key = deHashKey(kKeyText);
  std::vector<Record> records;
  if (writeWithWorkers(key) && readBack(key, records)) {
    throughMemory(records);
    throughObjectStream(records);
  }
  for (Record &r : records) {
    releaseRecord(r);
  }
  servicesProcessTerminate(0);
  if (failures != 0) {
    fprintf(stderr, "records: %d check(s) failed\n", failures);
    return 1;
  }
  printf("records: every check held\n");
  return 0;
}
