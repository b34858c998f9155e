#include "pipeline/mp4/DiskFile.h"

#include "pipeline/mp4/DiskRoom.h"
#include "pipeline/mp4/FileSink.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/pipeline/support/Recording.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace quillet {
namespace {

using namespace fakes;
using mp4::DiskCondition;
using mp4::DiskFile;
using mp4::DiskRoom;
using mp4::FileSink;

/// A disk that does, or does not do, what the test says; it outlives the file on it.
class Disk {
public:
    std::mutex mutex; // guards the rest
    std::condition_variable changed;
    std::string content;
    int synchronisations = 0;
    bool hangsInWrites = false;
    bool hangsInSynchronisations = false;
    bool isFull = false;
    bool isClosed = false;
    bool isDiscarded = false;
    std::optional<std::uint64_t> available;
    std::vector<DiskCondition> conditions;

    template <typename Change>
    void set(Change change) {
        const std::scoped_lock lock(mutex);
        change(*this);
        changed.notify_all();
    }
    /// False when it does not come true within a time that only a failure needs.
    template <typename Question>
    [[nodiscard]] bool comesTrue(Question question) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return question(*this); });
    }
};

class DiskSink final : public mp4::ByteSink {
public:
    explicit DiskSink(std::shared_ptr<Disk> its) : disk(std::move(its)) {}
    std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
        std::unique_lock lock(disk->mutex);
        disk->changed.wait(lock, [&] { return !disk->hangsInWrites; });
        if (disk->isFull) return systemError("write", ENOSPC);
        disk->content.resize(std::max<std::size_t>(disk->content.size(), offset + bytes.size()));
        disk->content.replace(offset, bytes.size(), reinterpret_cast<const char*>(bytes.data()), bytes.size());
        disk->changed.notify_all();
        return std::nullopt;
    }
    void writeBehind(std::uint64_t, std::uint64_t) override {}
    std::optional<Error> synchronise() override {
        std::unique_lock lock(disk->mutex);
        disk->changed.wait(lock, [&] { return !disk->hangsInSynchronisations; });
        ++disk->synchronisations;
        disk->changed.notify_all();
        return std::nullopt;
    }
    std::optional<Error> close() override {
        disk->set([](Disk& it) { it.isClosed = true; });
        return std::nullopt;
    }
    void discard() override {
        disk->set([](Disk& it) { it.isDiscarded = true; });
    }
    std::optional<std::uint64_t> availableBytes() override {
        const std::scoped_lock lock(disk->mutex);
        return disk->available;
    }
    [[nodiscard]] std::filesystem::path place() const override { return "film.mp4"; }

private:
    std::shared_ptr<Disk> disk; // which the test looks at
};

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

class DiskFileTest : public testing::Test {
protected:
    ~DiskFileTest() override {
        // Nothing hangs for longer than the test.
        disk->set([](Disk& it) { it.hangsInWrites = it.hangsInSynchronisations = false; });
    }
    [[nodiscard]] std::unique_ptr<DiskFile> make() {
        const auto note = [its = disk](DiskCondition now) {
            its->set([now](Disk& it) { it.conditions.push_back(now); });
        };
        return std::make_unique<DiskFile>(
            std::make_unique<DiskSink>(disk),
            DiskFile::Options{.onCondition = note, .interval = std::chrono::milliseconds(5)});
    }
    std::shared_ptr<Disk> disk = std::make_shared<Disk>();
};

TEST_F(DiskFileTest, writesEverythingInItsOrderAndCloses) {
    const auto file = make();
    EXPECT_FALSE(file->writeAt(0, bytesOf("one two")));
    EXPECT_FALSE(file->writeAt(7, bytesOf(" three")));
    EXPECT_FALSE(file->writeAt(4, bytesOf("TWO")));
    EXPECT_FALSE(file->synchronise());
    EXPECT_EQ(disk->content, "one TWO three");
    EXPECT_FALSE(file->close());
    EXPECT_TRUE(disk->isClosed);
    EXPECT_EQ(file->place(), "film.mp4");
    EXPECT_TRUE(disk->conditions.empty());
}

TEST_F(DiskFileTest, carriesWhatWasWrittenToTheDiskByItselfAndOnlyThat) {
    const auto file = make();
    EXPECT_FALSE(file->writeAt(0, bytesOf("one")));
    ASSERT_TRUE(disk->comesTrue([](const Disk& it) { return it.synchronisations == 1; }));
    EXPECT_FALSE(file->writeAt(3, bytesOf("two")));
    ASSERT_TRUE(disk->comesTrue([](const Disk& it) { return it.synchronisations == 2; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // ten intervals with nothing to do
    const std::scoped_lock lock(disk->mutex);
    EXPECT_EQ(disk->synchronisations, 2);
}

TEST_F(DiskFileTest, aDiskThatHangsDelaysNobodyWhoWrites) {
    const auto file = make();
    disk->set([](Disk& it) { it.hangsInWrites = true; });
    for (int i = 0; i < 100; ++i)
        EXPECT_FALSE(file->writeAt(static_cast<std::uint64_t>(i), bytesOf("x")));
    {
        const std::scoped_lock lock(disk->mutex);
        EXPECT_TRUE(disk->content.empty());
    }
    disk->set([](Disk& it) { it.hangsInWrites = false; });
    EXPECT_TRUE(disk->comesTrue([](const Disk& it) { return it.content == std::string(100, 'x'); }));
}

TEST_F(DiskFileTest, aSlowSynchronisationKeepsNothingBackFromTheFile) {
    const auto file = make();
    disk->set([](Disk& it) { it.hangsInSynchronisations = true; });
    EXPECT_FALSE(file->writeAt(0, bytesOf("one")));
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // it hangs by now; if not, nothing is proved or lost
    EXPECT_FALSE(file->writeAt(3, bytesOf("two")));
    EXPECT_TRUE(disk->comesTrue([](const Disk& it) { return it.content == "onetwo"; }));
}

TEST_F(DiskFileTest, keepsAnOrderWithoutHavingAnybodyWait) {
    const auto file = make();
    disk->set([](Disk& it) { it.hangsInSynchronisations = true; });
    EXPECT_FALSE(file->writeAt(0, bytesOf("one")));
    EXPECT_FALSE(file->keepOrder());
    EXPECT_FALSE(file->writeAt(3, bytesOf("two")));
    ASSERT_TRUE(disk->comesTrue([](const Disk& it) { return it.content == "one"; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // the rest would have come by now
    disk->set([](Disk& it) {
        EXPECT_EQ(it.content, "one");
        it.hangsInSynchronisations = false;
    });
    EXPECT_TRUE(disk->comesTrue([](const Disk& it) { return it.content == "onetwo"; }));
}

TEST_F(DiskFileTest, tellsOfAFailureOnceAndAnswersItFromThenOn) {
    const auto file = make();
    disk->set([](Disk& it) { it.isFull = true; });
    EXPECT_FALSE(file->writeAt(0, bytesOf("one")));
    ASSERT_TRUE(disk->comesTrue([](const Disk& it) { return !it.conditions.empty(); }));
    disk->set([](Disk& it) { it.isFull = false; });
    for (int i = 0; i < 2; ++i) {
        const auto error = file->writeAt(3, bytesOf("two"));
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code, ENOSPC);
    }
    EXPECT_TRUE(file->synchronise());
    EXPECT_TRUE(file->close());
    EXPECT_TRUE(disk->content.empty());
    EXPECT_EQ(disk->conditions, std::vector{DiskCondition::failed});
}

TEST_F(DiskFileTest, aFileThatNothingWasWrittenToLeavesNothing) {
    make().reset();
    EXPECT_TRUE(disk->comesTrue([](const Disk& it) { return it.isDiscarded; }));
}

TEST_F(DiskFileTest, finishesWhatItWasGivenAfterItIsLetGo) {
    auto file = make();
    disk->set([](Disk& it) { it.hangsInWrites = true; });
    EXPECT_FALSE(file->writeAt(0, bytesOf("one")));
    file.reset(); // at once, although the disk hangs
    disk->set([](Disk& it) { it.hangsInWrites = false; });
    EXPECT_TRUE(disk->comesTrue([](const Disk& it) { return it.isClosed; }));
    EXPECT_EQ(disk->content, "one");
}

TEST_F(DiskFileTest, discardingDoesNotWaitForADiskThatHangs) {
    const auto file = make();
    disk->set([](Disk& it) { it.hangsInWrites = true; });
    EXPECT_FALSE(file->writeAt(0, bytesOf("one")));
    const auto before = std::chrono::steady_clock::now();
    file->discard();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    disk->set([](Disk& it) { it.hangsInWrites = false; });
    EXPECT_TRUE(disk->comesTrue([](const Disk& it) { return it.isDiscarded; }));
}

TEST_F(DiskFileTest, saysWhenRoomBecomesLittleReturnsAndEnds) {
    disk->available = 1'000'000'000;
    const auto file = make();
    EXPECT_FALSE(file->writeAt(0, bytesOf("one")));
    for (const auto& [bytes, expected] :
         std::vector<std::pair<std::uint64_t, DiskCondition>>{{25U << 20, DiskCondition::low},
                                                              {1U << 30, DiskCondition::ample},
                                                              {17U << 20, DiskCondition::exhausted}}) {
        disk->set([left = bytes](Disk& it) { it.available = left; });
        EXPECT_TRUE(disk->comesTrue(
            [now = expected](const Disk& it) { return !it.conditions.empty() && it.conditions.back() == now; }));
    }
}

TEST(DiskRoom, goesByThePaceOfTheFilm) {
    constexpr std::chrono::milliseconds second{1000};
    DiskRoom still(second);
    DiskRoom fast(second);
    for (std::uint64_t i = 1; i <= 30; ++i) {
        EXPECT_EQ(still.judge(i * 30'000, 100U << 20), DiskCondition::ample);
        // 2 MB a second: 84 MB are 42 seconds.
        EXPECT_EQ(fast.judge(i * 2'000'000, 100U << 20), DiskCondition::low);
    }
    EXPECT_EQ(still.judge(31 * 30'000, 22U << 20), DiskCondition::low);
    EXPECT_EQ(still.judge(32 * 30'000, 19U << 20), DiskCondition::exhausted);
    EXPECT_EQ(fast.judge(31 * 2'000'000, 22U << 20), DiskCondition::exhausted);
}

TEST(DiskRoom, keepsTheLineSteadyAtTheBorder) {
    DiskRoom room(std::chrono::milliseconds(1000));
    const auto after = [](double seconds) {
        return DiskRoom::reserveBytes + 10'000 + static_cast<std::uint64_t>(seconds * 100'000);
    };
    EXPECT_EQ(room.judge(0, after(125)), DiskCondition::ample);
    EXPECT_EQ(room.judge(0, after(115)), DiskCondition::low);
    EXPECT_EQ(room.judge(0, after(125)), DiskCondition::low);
    EXPECT_EQ(room.judge(0, after(185)), DiskCondition::ample);
}

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(FileSink, bringsBackAFileThatWasRemovedWithItsFolder) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.path() / "Desktop" / "film.mp4";
    std::filesystem::create_directory(path.parent_path());
    Error error;
    const auto sink = FileSink::make(path, error);
    ASSERT_TRUE(sink);
    const std::string content(3'000'000, 'x');
    EXPECT_FALSE(sink->writeAt(0, bytesOf(content)));
    std::filesystem::remove_all(path.parent_path());
    EXPECT_FALSE(sink->close());
    EXPECT_EQ(sink->place(), path);
    EXPECT_EQ(contentOf(path), content);
}

TEST(FileSink, knowsWhereAMovedFileIs) {
    const TemporaryFolder folder;
    Error error;
    const auto sink = FileSink::make(folder.path() / "film.mp4", error);
    ASSERT_TRUE(sink);
    EXPECT_FALSE(sink->writeAt(0, bytesOf("film")));
    std::filesystem::rename(folder.path() / "film.mp4", folder.path() / "better.mp4");
    EXPECT_FALSE(sink->close());
    EXPECT_EQ(sink->place(), std::filesystem::canonical(folder.path()) / "better.mp4");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "film.mp4"));
}

TEST(FileSink, doesNotReplaceWhatHasTakenARemovedFilesPlace) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.path() / "Desktop" / "film.mp4";
    std::filesystem::create_directory(path.parent_path());
    Error error;
    const auto sink = FileSink::make(path, error);
    ASSERT_TRUE(sink);
    EXPECT_FALSE(sink->writeAt(0, bytesOf("film")));
    std::filesystem::remove_all(path.parent_path());
    std::ofstream(path.parent_path()) << "a file where the folder was";
    const auto problem = sink->close();
    ASSERT_TRUE(problem);
    EXPECT_EQ(problem->description, "录制中的文件被删除，无法恢复。");
    EXPECT_EQ(contentOf(path.parent_path()), "a file where the folder was");
}

TEST(DiskFile, isAnOrdinaryFilmsFile) {
    const TemporaryFolder folder;
    const auto open = [](const std::filesystem::path& path, Error& error) -> std::unique_ptr<mp4::ByteSink> {
        auto sink = FileSink::make(path, error);
        return sink ? std::make_unique<DiskFile>(std::move(sink), DiskFile::Options{}) : nullptr;
    };
    const auto writer = RecordingWriter::make(folder.file(), {64, 48}, 60, ExportQuality::low, nullptr, open);
    ASSERT_TRUE(writer);
    writer->start({0, 60});
    for (int i = 0; i < 90; ++i)
        EXPECT_TRUE(appendPatiently(*writer, numberedFrame(64, 48, i), {i, 60}));
    const Outcome outcome = finishAndWait(*writer);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.url, folder.file());
    const test::Movie movie = test::readMovie(folder.file(), test::ReadDepth::pictures);
    EXPECT_FALSE(movie.isFragmented);
    EXPECT_EQ(movie.pictures.size(), 90U);
}

} // namespace
} // namespace quillet
