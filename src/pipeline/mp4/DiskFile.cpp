#include "pipeline/mp4/DiskFile.h"

#include "pipeline/mp4/DiskRoom.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>

namespace quillet::mp4 {

namespace {

constexpr std::size_t mostWaitingBytes = 64U << 20;
constexpr std::chrono::milliseconds discardPatience{200};

using Clock = std::chrono::steady_clock;

/// Without any bytes: a synchronisation between those before it and those behind it.
struct WaitingWrite {
    std::uint64_t offset;
    std::vector<std::byte> bytes;
};

} // namespace

struct DiskFile::Shared {
    enum class Ending { none, close, discard };

    void write();
    void carry();
    void fail(const Error& error);
    void tell(DiskCondition condition);
    void end(Ending how);

    std::unique_ptr<ByteSink> file;
    Options options;

    mutable std::mutex mutex; // guards everything below
    std::condition_variable changed;
    std::deque<WaitingWrite> writes;
    std::size_t waitingBytes = 0;    // including those of the write that is under way
    std::uint64_t fileBytes = 0;     // written so far
    bool hasUnsynchronised = false;  // something was written since the last synchronisation began
    bool wantsSynchronising = false; // somebody waits for that
    bool wasWrittenTo = false;       // or is to be
    Ending ending = Ending::none;
    bool hasEnded = false;
    std::optional<Error> failure;
    std::filesystem::path endPlace;
    DiskCondition condition = DiskCondition::ample;
};

DiskFile::DiskFile(std::unique_ptr<ByteSink> file, Options options) : shared(std::make_shared<Shared>()) {
    shared->file = std::move(file);
    shared->endPlace = shared->file->place();
    shared->options = std::move(options);
    std::thread([state = shared] {
        pthread_setname_np(pthread_self(), "quillet.disk");
        state->write();
    }).detach();
}

DiskFile::~DiskFile() {
    bool isEmpty = false;
    {
        const std::scoped_lock lock(shared->mutex);
        isEmpty = !shared->wasWrittenTo;
    }
    if (isEmpty)
        discard();
    else
        shared->end(Shared::Ending::close);
}

void DiskFile::Shared::end(Ending how) {
    const std::scoped_lock lock(mutex);
    if (ending == Ending::none) ending = how;
    changed.notify_all();
}

std::optional<Error> DiskFile::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    if (bytes.empty()) return std::nullopt;
    std::vector<std::byte> copy(bytes.begin(), bytes.end());
    std::unique_lock lock(shared->mutex);
    shared->changed.wait(lock, [&] { return shared->waitingBytes < mostWaitingBytes || shared->failure; });
    if (shared->failure) return shared->failure;
    shared->waitingBytes += copy.size();
    shared->wasWrittenTo = true;
    shared->writes.push_back({offset, std::move(copy)});
    shared->changed.notify_all();
    return std::nullopt;
}

std::optional<Error> DiskFile::keepOrder() {
    const std::scoped_lock lock(shared->mutex);
    if (shared->failure) return shared->failure;
    shared->writes.push_back({});
    shared->changed.notify_all();
    return std::nullopt;
}

std::optional<Error> DiskFile::synchronise() {
    std::unique_lock lock(shared->mutex);
    shared->wantsSynchronising = true;
    shared->changed.notify_all();
    shared->changed.wait(lock, [&] { return !shared->wantsSynchronising || shared->hasEnded; });
    return shared->failure;
}

std::optional<Error> DiskFile::close() {
    shared->end(Shared::Ending::close);
    std::unique_lock lock(shared->mutex);
    shared->changed.wait(lock, [&] { return shared->hasEnded; });
    return shared->failure;
}

void DiskFile::discard() {
    shared->end(Shared::Ending::discard);
    std::unique_lock lock(shared->mutex);
    shared->changed.wait_for(lock, discardPatience, [&] { return shared->hasEnded; });
}

std::optional<std::uint64_t> DiskFile::availableBytes() { return std::nullopt; } // onCondition tells

std::filesystem::path DiskFile::place() const {
    const std::scoped_lock lock(shared->mutex);
    return shared->endPlace;
}

void DiskFile::Shared::tell(DiskCondition now) {
    {
        const std::scoped_lock lock(mutex);
        if (condition == now || condition == DiskCondition::failed) return;
        condition = now;
    }
    if (options.onCondition) options.onCondition(now);
}

void DiskFile::Shared::fail(const Error& error) {
    {
        const std::scoped_lock lock(mutex);
        if (!failure) failure = error;
        writes.clear();
        waitingBytes = 0;
        changed.notify_all();
    }
    tell(DiskCondition::failed);
}

// quillet.disk
void DiskFile::Shared::write() {
    std::thread carrier([this] {
        pthread_setname_np(pthread_self(), "quillet.sync");
        carry();
    });
    for (;;) {
        std::optional<WaitingWrite> next;
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return !writes.empty() || wantsSynchronising || ending != Ending::none; });
            if (ending == Ending::discard) break;
            if (!writes.empty()) {
                next = std::move(writes.front());
                writes.pop_front();
            } else if (!wantsSynchronising) {
                break;
            }
        }
        if (!next) {
            const std::optional<Error> error = file->synchronise();
            if (error) fail(*error);
            const std::scoped_lock lock(mutex);
            wantsSynchronising = false;
            changed.notify_all();
            continue;
        }
        const std::optional<Error> error =
            next->bytes.empty() ? file->synchronise() : file->writeAt(next->offset, next->bytes);
        if (error) {
            fail(*error);
            continue;
        }
        const std::scoped_lock lock(mutex);
        fileBytes = std::max(fileBytes, next->offset + next->bytes.size());
        waitingBytes -= std::min(waitingBytes, next->bytes.size()); // a failure elsewhere may have cleared it
        hasUnsynchronised = true;
        changed.notify_all();
    }
    carrier.join(); // the file's descriptor is not closed beneath it
    std::optional<Error> error;
    bool isDiscarded = false;
    {
        const std::scoped_lock lock(mutex);
        isDiscarded = ending == Ending::discard;
    }
    if (isDiscarded)
        file->discard();
    else
        error = file->close();
    const std::scoped_lock lock(mutex);
    if (!failure) failure = error;
    endPlace = file->place();
    wantsSynchronising = false;
    hasEnded = true;
    changed.notify_all();
}

// quillet.sync
void DiskFile::Shared::carry() {
    DiskRoom room(options.interval);
    for (Clock::time_point due = Clock::now() + options.interval;;) {
        std::uint64_t written = 0;
        bool isNew = false;
        {
            std::unique_lock lock(mutex);
            changed.wait_until(lock, due, [&] { return ending != Ending::none; });
            if (ending != Ending::none) return;
            isNew = std::exchange(hasUnsynchronised, false) && !failure;
            written = fileBytes;
        }
        if (isNew)
            if (const std::optional<Error> error = file->synchronise()) fail(*error);
        if (const std::optional<std::uint64_t> available = file->availableBytes())
            tell(room.judge(written, *available));
        // How long that took does not count, but a slow disk shall have some rest, too.
        due = std::max(due + options.interval, Clock::now() + options.interval / 4);
    }
}

} // namespace quillet::mp4
