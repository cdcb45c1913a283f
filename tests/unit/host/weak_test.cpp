#include <thread>

#include "nuvra/dll.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

class WeakTest : public HostTest {
protected:
    static UrlRef MakeUrl() { return UrlRef::Create().GetValue(); }
};

TEST_F(WeakTest, AWeakReferenceFindsTheObjectUntilItDies) {
    UrlRef url = MakeUrl();
    WeakRef<UrlRef> weak(url);
    WeakRef<UrlRef> copy;
    copy = weak;
    EXPECT_TRUE(weak.Lock() == url);
    url = nullptr;
    EXPECT_FALSE(weak.Lock());
    EXPECT_FALSE(copy.Lock());
    EXPECT_FALSE(WeakRef<UrlRef>(UrlRef()).Lock());
    EXPECT_FALSE(WeakRef<UrlRef>().Lock());
}

TEST_F(WeakTest, ALockedReferenceKeepsTheObject) {
    UrlRef url = MakeUrl();
    const WeakRef<UrlRef> weak(url);
    UrlRef locked = weak.Lock();
    url = nullptr;
    EXPECT_TRUE(IsOk(locked.SetPath(MakeText("still there"))));
    locked = nullptr;
    EXPECT_FALSE(weak.Lock());
}

TEST_F(WeakTest, AReusedControlBlockMeansOnlyItsNewObject) {
    std::vector<WeakRef<UrlRef>> old;
    for (int round = 0; round < 3; round++) {
        std::vector<UrlRef> urls;
        std::vector<WeakRef<UrlRef>> weak;
        for (int i = 0; i < 50; i++) {
            urls.push_back(MakeUrl());
            weak.emplace_back(urls.back());
        }
        for (size_t i = 0; i < urls.size(); i++) EXPECT_TRUE(weak[i].Lock() == urls[i]);
        for (const auto& reference : old)
            EXPECT_FALSE(reference.Lock()) << "of an object of an earlier round";
        for (size_t i = 0; i < weak.size(); i += 2) old.push_back(weak[i]);  // the odd ones' blocks are freed
    }
}

TEST_F(WeakTest, WithoutMemoryThereIsAnEmptyReference) {
    const UrlRef url = MakeUrl();
    host.allocations.FailAll();
    const WeakRef<UrlRef> weak(url);
    host.allocations.FailNone();
    EXPECT_FALSE(weak.Lock());
    EXPECT_TRUE(WeakRef<UrlRef>(url).Lock() == url) << "the next try succeeds";
}

TEST_F(WeakTest, ADyingObjectIsNeverBroughtBack) {
    const Int before = host::CountAllocations();
    for (int round = 0; round < 300; round++) {
        UrlRef url = MakeUrl();
        const WeakRef<UrlRef> weak(url);
        std::atomic<bool> go{false};
        const auto lockUntilGone = [&] {
            while (!go) {
            }
            WeakRef<UrlRef> mine;
            mine = weak;
            while (const UrlRef locked = mine.Lock()) EXPECT_TRUE(locked.GetPath().IsEmpty());
        };
        std::thread threads[] = {std::thread(lockUntilGone), std::thread(lockUntilGone)};
        go = true;
        url = nullptr;
        for (std::thread& thread : threads) thread.join();
    }
    EXPECT_EQ(host::CountAllocations(), before) << "each died exactly once";
}

}  // namespace
}  // namespace nuvra::test
