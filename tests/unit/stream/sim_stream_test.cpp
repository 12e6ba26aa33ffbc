// The stream layer against a simulated system: random reads, seeks, writes, detaching and closing, compared
// with a file kept as a string.
//
// Undisturbed, every byte must be right. With failing and shortened transfers, every byte that is delivered
// must still be right, and what was not written must have been reported: by -1, by fewer items, or by a flag.
// Never may a buffer be touched while the system works on it.
//
// Every run follows from its seed: FSORT_SIM_SEED=<seed> repeats one, FSORT_SIM_RUNS=<n> sets the number of
// each test.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "stream/buffer_lists.h"
#include "stream/stream.h"
#include "support/campaign.h"
#include "support/instance_fixture.h"
#include "support/sim_os.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

constexpr std::uint64_t kSector = 512;

std::uint64_t up_to_sector(std::uint64_t n) { return (n + kSector - 1) / kSector * kSector; }

class SimStreams : public InstanceFixture {
 public:
  using Run = void (SimStreams::*)();

  void TearDown() override {
    InstanceFixture::TearDown();
    sim_.reset();
  }

  std::uint64_t below(std::uint64_t n) { return random_() % n; }
  bool percent(int chance) { return below(100) < static_cast<std::uint64_t>(chance); }
  template <typename T>
  T pick(std::initializer_list<T> values) {
    return *(values.begin() + static_cast<std::ptrdiff_t>(below(values.size())));
  }

  // Makes the system of one run, with one or two kinds of `kinds` going wrong in every second one.
  void begin(std::uint64_t seed, std::initializer_list<SimTrouble> kinds) {
    random_.seed(seed);
    sim_ = std::make_unique<SimOs>(seed);
    sim_->set_lateness(pick({100, 100, 80, 50}), pick({0, 0, 10, 50}));
    instance().stream.overlapped_available = percent(95) ? 1 : 0;
    if (kinds.size() != 0 && percent(50)) {
      for (std::uint64_t n = 1 + below(2); n > 0; --n) sim_->trouble(pick(kinds), pick({100, 500, 2000}));
    }
  }
  // What the run left or did wrong goes to the test's failures.
  void end(const char* what, std::uint64_t seed) {
    EXPECT_EQ(sim_->violations(), Texts{}) << what;
    EXPECT_TRUE(sim_->clean()) << sim_->alive();
    troubled_ += std::min<std::uint64_t>(sim_->counts().troubles, 1);
    late_ += sim_->counts().late;
    if (HasFailure()) ADD_FAILURE() << "FSORT_SIM_SEED=" << seed;
    sim_.reset();
  }
  void campaign(const char* what, Run run, std::initializer_list<SimTrouble> kinds, std::uint64_t first_seed,
                std::uint64_t runs) {
    const std::uint64_t replay = fsort_test::from_environment("FSORT_SIM_SEED", 0);
    if (fsort_test::kSanitized) runs = runs / fsort_test::kSlowShare + 1;
    if (replay != 0) first_seed = replay, runs = 1;
    runs = fsort_test::from_environment("FSORT_SIM_RUNS", runs);
    for (std::uint64_t seed = first_seed; seed < first_seed + runs && !HasFailure(); ++seed) {
      begin(seed, kinds);
      (this->*run)();
      end(what, seed);
    }
    if (replay != 0 || HasFailure()) return;
    EXPECT_GE(troubled_ * 10, kinds.size() != 0 ? runs : 0) << "too few runs were disturbed";
    EXPECT_GT(late_, runs / 2) << "too few transfers were late";
  }

  SimOs& sim() { return *sim_; }
  // What failed must have had a reason.
  void expect_trouble() { EXPECT_GT(sim().counts().troubles, 0u); }

  BufferChain chain() {
    return fmakebuf(pick({512u, 1024u, 1000u, 2048u, 4096u}), static_cast<int>(1 + below(4)));
  }
  // Every buffer of a stream, wherever it is listed.
  static std::vector<IoBuffer*> buffers_of(const Stream* s) {
    std::vector<IoBuffer*> all;
    for (IoBuffer* b = s->idle; b != nullptr; b = buffer_link(b)) all.push_back(b);
    for (IoBuffer* b = s->busy_head; b != nullptr; b = buffer_link(b)) all.push_back(b);
    return all;
  }
  static void free_each(const std::vector<IoBuffer*>& buffers) {
    for (IoBuffer* b : buffers) {
      set_buffer_link(b, nullptr);
      ffreebuf(b);
    }
  }

  void read_one_file();
  void read_files_in_turn();
  void read_standard_input();
  void write_one_file();
  void append_and_read_back();
  void seek_in(Stream* s, std::uint64_t size);
  bool read_some(Stream* s, const std::string& text);
  bool read_rest(Stream* s, const std::string& text);
  bool write_some(Stream* s, std::string* text);
  bool close_reader(Stream* s);
  bool close_writer(Stream* s);

 private:
  std::unique_ptr<SimOs> sim_;
  std::mt19937_64 random_;
  std::uint64_t troubled_ = 0;
  std::uint64_t late_ = 0;
};

// --- reading ---------------------------------------------------------------------------------------------

// Seeks, and says how much is left from there on, as a reader of work files does.
void SimStreams::seek_in(Stream* s, std::uint64_t size) {
  const std::uint64_t target = below(size + 1);
  const std::uint64_t rest = size - target;
  const std::uint64_t requested = s->next;
  s->left = rest;
  if (percent(50)) {
    fstdio_fseek(s, static_cast<std::int64_t>(target), 0);
  } else {
    fstdio_fseek(s, static_cast<std::int64_t>(target - s->pos), 1);
  }
  EXPECT_EQ(s->pos, target);
  const bool inside_buffer = s->next == requested && s->left == rest && requested > target;
  if (inside_buffer) s->left = rest > requested - target ? rest - (requested - target) : 0;
}

// Reads a random piece; false when the stream gave nothing although there should be something.
bool SimStreams::read_some(Stream* s, const std::string& text) {
  const std::uint64_t at = s->pos;
  if (percent(20)) {
    const int c = fstdio_fgetc(s);
    if (s->pos == at) return at == text.size();
    EXPECT_EQ(c, static_cast<signed char>(text.at(at))) << "byte " << at;
    return true;
  }
  if (percent(30)) {
    const std::uint64_t there = fcnt(s);
    if (there == 0) return at == text.size();
    EXPECT_EQ(std::string(reinterpret_cast<char*>(s->ptr), there), text.substr(at, there)) << "at " << at;
    return true;
  }
  std::string piece(1 + below(percent(80) ? 700 : 6000), '?');
  const std::uint64_t wanted = std::min<std::uint64_t>(piece.size(), text.size() - at);
  static_cast<void>(fstdio_fread(piece.data(), 1, piece.size(), s));
  const std::uint64_t got = s->pos - at;
  EXPECT_LE(got, wanted);
  EXPECT_TRUE(piece.compare(0, got, text, at, got) == 0) << got << " bytes at " << at;
  return got == wanted;
}

bool SimStreams::read_rest(Stream* s, const std::string& text) {
  while (s->pos < text.size()) {
    if (!read_some(s, text)) return false;
  }
  EXPECT_EQ(fcnt(s), 0u);
  EXPECT_EQ(fstdio_fgetc(s), -1);
  return true;
}

// Closes in one of the ways that exist: buffers detached before or not.
bool SimStreams::close_reader(Stream* s) {
  if ((s->flags & kStreamOwnBuffers) != 0 || (s->flags & kStreamAttached) == 0) return fstdio_fclose(s) == 0;
  if (percent(70)) {
    ffreebuf(fdetachbuf(s));
    return fstdio_fclose(s) == 0;
  }
  const std::vector<IoBuffer*> buffers = buffers_of(s);
  const bool closed = fstdio_fclose(s) == 0;
  free_each(buffers);
  return closed;
}

void SimStreams::read_one_file() {
  const std::string text = pattern_bytes(below(percent(80) ? 9000 : 40000));
  sim().make_file("f", text);
  Stream* s = fstdio_fopen("f", pick({"r", "rb", "rbrua", "rbrua", "rbrua", "rba", "rbu"}));
  if (s == nullptr) return expect_trouble();
  if (percent(80)) fattachbuf(s, chain());
  bool whole = true;
  for (std::uint64_t n = below(40); n > 0 && whole && !HasFailure(); --n) {
    if (percent(25) && (s->flags & kStreamAttached) != 0) seek_in(s, text.size());
    whole = read_some(s, text);
  }
  if (whole && percent(50) && !HasFailure()) whole = read_rest(s, text);
  const bool closed = close_reader(s);
  EXPECT_TRUE((whole && closed) || sim().counts().troubles != 0) << "undisturbed";
}

TEST_F(SimStreams, ReadWhatTheFileHoldsWhereverTheySeek) {
  campaign("reading", &SimStreams::read_one_file,
           {SimTrouble::kRead, SimTrouble::kShortRead, SimTrouble::kShortRead, SimTrouble::kOpen,
            SimTrouble::kClose, SimTrouble::kEvent, SimTrouble::kHeap},
           61000000, 4000);
}

// One chain of buffers that goes from file to file, often before all was read.
void SimStreams::read_files_in_turn() {
  BufferChain buffers = chain();
  for (int file = 0; file < 4 && !HasFailure(); ++file) {
    const std::string name = "f" + std::to_string(file);
    const std::string text = pattern_bytes(2 + below(9000)).substr(static_cast<std::size_t>(file) / 2);
    sim().make_file(name, text);
    Stream* s = fstdio_fopen(name.c_str(), pick({"r", "rbrua", "rba"}));
    if (s == nullptr) continue;
    if (buffers == nullptr) buffers = chain();
    if (buffers != nullptr) fattachbuf(s, buffers);
    buffers = nullptr;
    for (std::uint64_t n = below(15); n > 0 && read_some(s, text) && !HasFailure(); --n) {
    }
    buffers = fdetachbuf(s);
    if ((s->flags & kStreamOwnBuffers) != 0) s->flags &= ~kStreamOwnBuffers;
    static_cast<void>(fstdio_fclose(s));
  }
  ffreebuf(buffers);
}

TEST_F(SimStreams, HandTheirBuffersOnFromFileToFile) {
  campaign("reading in turn", &SimStreams::read_files_in_turn,
           {SimTrouble::kRead, SimTrouble::kShortRead, SimTrouble::kClose, SimTrouble::kHeap}, 62000000,
           1500);
}

void SimStreams::read_standard_input() {
  const std::string text = pattern_bytes(below(9000));
  sim().set_standard(kStdInput, pick({kFileTypePipe, kFileTypePipe, kFileTypeChar, kFileTypeDisk}), text);
  finit();
  Stream* s = std_input();
  if (percent(70)) fattachbuf(s, chain());
  const bool whole = read_rest(s, text);
  EXPECT_TRUE(whole || sim().counts().troubles != 0) << "undisturbed";
  if ((s->flags & kStreamOwnBuffers) == 0) ffreebuf(fdetachbuf(s));
  fwindup();
}

// A pipe gives less than is asked for at every read, a terminal a line: that is no trouble.
TEST_F(SimStreams, ReadPipesAndTerminalsInWhateverPiecesTheyCome) {
  const std::uint64_t runs = fsort_test::kSanitized ? 50 : 500;
  const std::uint64_t first_seed = fsort_test::from_environment("FSORT_SIM_SEED", 63000000);
  for (std::uint64_t seed = first_seed; seed < first_seed + runs && !HasFailure(); ++seed) {
    begin(seed, {SimTrouble::kRead, SimTrouble::kHeap});
    read_standard_input();
    end("standard input", seed);
  }
}

// --- writing ---------------------------------------------------------------------------------------------

// Writes a random piece; false when the stream said that it failed.
bool SimStreams::write_some(Stream* s, std::string* text) {
  if (percent(20)) {
    const char c = static_cast<char>(below(256));
    text->push_back(c);
    return fstdio_fputc(static_cast<unsigned char>(c), s) == static_cast<unsigned char>(c);
  }
  std::string piece = pattern_bytes(1 + below(percent(80) ? 700 : 6000));
  piece[0] = static_cast<char>(below(256));
  *text += piece;
  return fstdio_fwrite(piece.data(), piece.size(), 1, s) == 1;
}

// Closes; false when anything said that bytes were lost.
bool SimStreams::close_writer(Stream* s) {
  const bool own = (s->flags & kStreamOwnBuffers) != 0;
  const bool late_close = !own && percent(40);
  const std::vector<IoBuffer*> buffers = late_close ? buffers_of(s) : std::vector<IoBuffer*>{};
  if (!own && !late_close) ffreebuf(fdetachbuf(s));
  const bool flagged = (s->flags & (kStreamError | kStreamEof)) != 0;
  bool closed = fstdio_fclose(s) == 0;
  // A stream whose last flush failed stays open and its owner's; the second close finds nothing to flush.
  if (!closed && sim().open_files() != 0) static_cast<void>(fstdio_fclose(s));
  free_each(buffers);
  return closed && !flagged;
}

void SimStreams::write_one_file() {
  sim().make_folder("d");
  std::string text;
  const char* mode = pick({"w", "wb", "wbtuax", "wbtua", "wba", "abua", "abua", "abua", "aba"});
  if (mode[0] == 'a') {
    text = pattern_bytes(below(8) * kSector);
    sim().make_file("d\\f", text);
  }
  const bool sectors =
      std::string(mode).find('u') != std::string::npos && instance().stream.overlapped_available != 0;
  // While the length is found only: a transfer goes on where its file could not be positioned, as on pipes.
  if (percent(10)) sim().trouble(SimTrouble::kSeek, 3000);
  Stream* s = fstdio_fopen("d/f", mode);
  sim().trouble(SimTrouble::kSeek, 0);
  if (s == nullptr) return expect_trouble();
  EXPECT_EQ(s->pos, text.size());
  if (percent(40)) static_cast<void>(fseteof(s, s->pos + below(20000)));
  const bool extended = sim().content("d/f").size() > text.size();
  if (percent(80)) fattachbuf(s, chain());
  bool reported = false;
  for (std::uint64_t n = 1 + below(25); n > 0 && !reported; --n) {
    reported = !write_some(s, &text);
    // In sectors a flush in the middle of one would leave a gap.
    if (!sectors && percent(20)) reported = fstdio_fflush(s) != 0 || reported;
  }
  reported = !close_writer(s) || reported;
  if (reported) return expect_trouble();
  std::string got = sim().content("d/f");
  if (sectors) text.resize(up_to_sector(text.size()), '\0');
  if (extended) got.resize(text.size(), '?');  // claimed space is cut by a writer in sectors only
  const auto differ = std::mismatch(got.begin(), got.end(), text.begin(), text.end()).first - got.begin();
  EXPECT_TRUE(got == text) << "at " << differ << ", " << mode << ": " << got.size() << " bytes instead of "
                           << text.size();
}

TEST_F(SimStreams, WriteAllBytesOrSayThatTheyDidNot) {
  campaign("writing", &SimStreams::write_one_file,
           {SimTrouble::kWrite, SimTrouble::kWrite, SimTrouble::kShortWrite, SimTrouble::kOpen,
            SimTrouble::kClose, SimTrouble::kEvent, SimTrouble::kHeap, SimTrouble::kSetEnd},
           64000000, 4000);
}

// What a work file lives through: created, appended to, read back piece by piece, with one chain for each
// direction.
void SimStreams::append_and_read_back() {
  std::string text;
  BufferChain out = chain();
  BufferChain in = chain();
  for (int round = 0; round < 4 && !HasFailure(); ++round) {
    Stream* s = fstdio_fopen("f", round == 0 ? "wbtuax" : "abua");
    fattachbuf(s, out);
    EXPECT_EQ(s->pos, text.size());
    for (std::uint64_t n = 1 + below(10); n > 0; --n) EXPECT_TRUE(write_some(s, &text));
    out = fdetachbuf(s);
    EXPECT_EQ(s->flags & (kStreamError | kStreamEof), 0u);
    EXPECT_EQ(fstdio_fclose(s), 0);
    // Without transfers in sectors the file ends where the writing did.
    text.resize(sim().content("f").size(), '\0');
    s = fstdio_fopen("f", "rbrua");
    fattachbuf(s, in);
    for (std::uint64_t n = below(12); n > 0 && !HasFailure(); --n) {
      seek_in(s, text.size());
      EXPECT_TRUE(read_some(s, text));
    }
    in = fdetachbuf(s);
    EXPECT_EQ(fstdio_fclose(s), 0);
  }
  ffreebuf(out);
  ffreebuf(in);
}

TEST_F(SimStreams, ReadBackWhatWasAppendedInTurns) {
  campaign("appending", &SimStreams::append_and_read_back, {}, 65000000, 1500);
}

}  // namespace
}  // namespace fsort::test
