#include "app/SettingsStore.h"

#include "app/replaceAtomically.h"
#include "tests/fakes/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <fstream>
#include <limits>
#include <sstream>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quillet {
namespace {

class SettingsStoreTest : public testing::Test {
protected:
    void put(const std::string& content) const {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }
    [[nodiscard]] std::string content() const {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }

    const fakes::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "config" / "quillet" / "settings";
};

TEST_F(SettingsStoreTest, readsBackWhatItWrote) {
    const std::string awkward = "a=b\\n\n\\ 桌面 \t";
    {
        SettingsStore store(file);
        store.write({{"text", awkward}, {"yes", true}, {"whole", std::int64_t{-7}}, {"number", 0.1 + 0.2}});
        EXPECT_EQ(store.text("text"), awkward) << "at once, before the disk has it";
    }
    const SettingsStore store(file);
    EXPECT_EQ(store.text("text"), awkward);
    EXPECT_TRUE(store.boolean("yes"));
    EXPECT_EQ(store.integer("whole"), -7);
    EXPECT_EQ(store.real("number"), 0.1 + 0.2) << "to the last bit";
    EXPECT_FALSE(store.contains("other"));
    EXPECT_EQ(store.text("other"), std::nullopt);
}

TEST_F(SettingsStoreTest, leavesNoTraceUntilSomethingIsWritten) {
    { const SettingsStore store(file); }
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "config"));
}

struct Junk {
    const char* name;
    const char* stored;
    bool boolean;
    std::int64_t integer;
    double real;
};

class StoredText : public SettingsStoreTest, public testing::WithParamInterface<Junk> {};

TEST_P(StoredText, readsAsEveryType) {
    put(std::string("key=") + GetParam().stored + "\n");
    const SettingsStore store(file);
    EXPECT_TRUE(store.contains("key"));
    EXPECT_EQ(store.boolean("key"), GetParam().boolean);
    EXPECT_EQ(store.integer("key"), GetParam().integer);
    EXPECT_EQ(store.real("key"), GetParam().real);
}

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

INSTANTIATE_TEST_SUITE_P(Table, StoredText,
                         testing::Values(Junk{"nothing", "", false, 0, 0}, Junk{"truth", "true", true, 0, 0},
                                         Junk{"loud", "YES", true, 0, 0}, Junk{"lie", "false", false, 0, 0},
                                         Junk{"one", "1", true, 1, 1}, Junk{"zero", "0", false, 0, 0},
                                         Junk{"plus", " +3", true, 3, 3}, Junk{"fraction", "-2.75", true, -2, -2.75},
                                         Junk{"unit", "7 apples", true, 7, 7}, Junk{"comma", "0,5", false, 0, 0},
                                         Junk{"words", "no number", false, 0, 0},
                                         Junk{"notANumber", "nan", false, 0, 0}, Junk{"endless", "-inf", false, 0, 0},
                                         Junk{"beyondDoubles", "1e999", false, 1, 0},
                                         Junk{"beyondWholes", "99999999999999999999", true, most, 1e20},
                                         Junk{"belowWholes", "-99999999999999999999", true, least, -1e20},
                                         Junk{"bytes", "\xff\xfe\x80", false, 0, 0}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(SettingsStoreTest, skipsLinesThatAreNoSettings) {
    constexpr std::string_view noSettings("no equals sign\n=no key\n\n\0=zero\nhalf a li", 40);
    static_assert(noSettings.ends_with("li"));
    put(std::string(noSettings) + "\nfirst=1\nfirst=2\nlast=3");
    const SettingsStore store(file);
    EXPECT_EQ(store.integer("first"), 2);
    EXPECT_EQ(store.integer("last"), 3) << "without a line break at the end";
    EXPECT_FALSE(store.contains(""));
}

TEST_F(SettingsStoreTest, countsFilesThatAreNoneAsEmptyAndReplacesThemIfItCan) {
    put(std::string(2 << 20, 'x'));
    {
        SettingsStore store(file);
        EXPECT_FALSE(store.contains("key"));
        store.write({{"key", true}});
    }
    EXPECT_EQ(content(), "key=true\n");

    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(SettingsStore(file).contains("key")) << "it does not wait for somebody to write into the pipe";

    std::filesystem::remove(file);
    std::filesystem::create_directories(file / "inside");
    SettingsStore store(file);
    testing::internal::CaptureStderr();
    store.write({{"key", true}});
    store.flush();
    store.write({{"key", false}});
    store.flush();
    const std::string words = testing::internal::GetCapturedStderr();
    EXPECT_THAT(words, testing::StartsWith("quillet: the settings are not saved: "));
    EXPECT_EQ(std::ranges::count(words, '\n'), 1) << "told once";
    EXPECT_FALSE(store.boolean("key")) << "the program goes on with it";

    std::filesystem::remove_all(file);
    store.write({{"other", true}});
    store.flush();
    EXPECT_EQ(content(), "key=false\nother=true\n") << "what could not be written before comes along";
}

TEST_F(SettingsStoreTest, followsASymbolicLink) {
    put("");
    const std::filesystem::path real = folder.path() / "dotfiles";
    std::ofstream(real) << "old=1\n";
    std::filesystem::remove(file);
    std::filesystem::create_symlink(real, file);
    {
        SettingsStore store(file);
        EXPECT_TRUE(store.boolean("old"));
        store.write({{"new", true}});
    }
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(content(), "new=true\nold=1\n");
}

TEST_F(SettingsStoreTest, neverWritesThroughSomebodyElsesLink) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can plant another user's link";
    put("");
    const std::filesystem::path victim = folder.path() / "victim";
    const std::filesystem::path between = folder.path() / "between";
    std::ofstream(victim) << "old=1\n";
    // One that leads there straight, and one at the end of a link of the user's own.
    for (const bool isFirst : {true, false}) {
        std::filesystem::remove(file);
        std::filesystem::create_symlink(victim, isFirst ? file : between);
        if (!isFirst) std::filesystem::create_symlink(between, file);
        constexpr uid_t nobody = 65534;
        ASSERT_EQ(::lchown((isFirst ? file : between).c_str(), nobody, nobody), 0);
        SettingsStore store(file);
        store.write({{"new", isFirst}});
        store.flush();
        std::stringstream untouched;
        untouched << std::ifstream(victim).rdbuf();
        EXPECT_EQ(untouched.str(), "old=1\n");
        EXPECT_FALSE(std::filesystem::is_symlink(isFirst ? file : between)) << "the link has been replaced";
        EXPECT_THAT(content(), testing::HasSubstr("new="));
    }
}

TEST_F(SettingsStoreTest, copiesThatRunBesideEachOtherKeepEachOthersKeys) {
    SettingsStore first(file);
    SettingsStore second(file);
    first.write({{"mine", std::int64_t{1}}, {"shared", std::int64_t{1}}});
    first.flush();
    second.write({{"yours", std::int64_t{2}}, {"shared", std::int64_t{2}}});
    second.flush();
    EXPECT_EQ(content(), "mine=1\nshared=2\nyours=2\n");
    first.write({{"mine", std::int64_t{3}}});
    first.flush();
    EXPECT_EQ(content(), "mine=3\nshared=2\nyours=2\n") << "only what was changed here";
}

TEST_F(SettingsStoreTest, manyWritersAtOnceLoseNothing) {
    constexpr int copies = 4;
    constexpr int rounds = 25;
    std::vector<pid_t> children;
    for (int copy = 0; copy < copies; ++copy) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int round = 0; round < rounds; ++round)
                SettingsStore(file).write({{"key" + std::to_string(copy), std::int64_t{round}},
                                           {"round" + std::to_string(copy * rounds + round), true}});
            ::_exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    const SettingsStore store(file);
    for (int copy = 0; copy < copies; ++copy)
        EXPECT_EQ(store.integer("key" + std::to_string(copy)), rounds - 1);
    for (int round = 0; round < copies * rounds; ++round)
        EXPECT_TRUE(store.boolean("round" + std::to_string(round))) << round;
}

TEST_F(SettingsStoreTest, killedInMidWriteItLeavesTheOldFileOrTheNewOne) {
    // Every version is one letter many times over; any mixture would show.
    constexpr std::size_t length = 200'000;
    for (int attempt = 0; attempt < 20; ++attempt) {
        std::array<int, 2> ready{};
        ASSERT_EQ(::pipe(ready.data()), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (char letter = 'a';; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
                SettingsStore(file).write({{"key", std::string(length, letter)}});
                if (::write(ready[1], "x", 1) != 1) ::_exit(1);
            }
        }
        char byte = 0;
        ASSERT_EQ(::read(ready[0], &byte, 1), 1);         // the first version is complete, the next is being written
        ::usleep(static_cast<useconds_t>(attempt * 137)); // at ever other moments
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(ready[0]);
        ::close(ready[1]);
        const std::string value = SettingsStore(file).text("key").value_or("");
        ASSERT_EQ(value.size(), length);
        EXPECT_EQ(value, std::string(length, value[0]));
    }
}

TEST_F(SettingsStoreTest, sweepsUpWhatKilledCopiesHaveLeft) {
    put("");
    const std::filesystem::path left = file.parent_path() / "settings.aB3dEf";
    const std::filesystem::path fresh = file.parent_path() / "settings.Qwerty";
    const std::filesystem::path foreign = file.parent_path() / "settings.backup1";
    for (const auto& path : {left, fresh, foreign})
        std::ofstream(path) << "x";
    for (const auto& path : {left, foreign})
        std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - std::chrono::minutes(2));
    SettingsStore(file).write({{"key", true}});
    EXPECT_FALSE(std::filesystem::exists(left));
    EXPECT_TRUE(std::filesystem::exists(fresh)) << "somebody may be writing it";
    EXPECT_TRUE(std::filesystem::exists(foreign));
}

TEST_F(SettingsStoreTest, aCopyThatIsStuckDoesNotKeepOthersFromWriting) {
    put("");
    const FolderLock stuck(file.parent_path());
    SettingsStore(file).write({{"key", true}});
    EXPECT_EQ(content(), "key=true\n");
}

} // namespace
} // namespace quillet
