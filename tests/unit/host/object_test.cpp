#include <thread>

#include "class_table.h"
#include "nuvra/dll.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

Result<AnyRef> Create(const char* classId) {
    return Table<ObjectInterface>()->Create(Registry::FindClass("nuvra.Classes", classId));
}

class CounterRef : public VirtualRef<zoo::Counter> {
public:
    using VirtualRef::VirtualRef;
    Int Next() const { return Invoke<&zoo::Counter::Operations::Next>(); }
};

TEST_F(HostTest, AnInterfaceIsFoundWithTheDataOfItsComponentAndWhatIsMissingIsAnError) {
    const AnyRef object = Create("zoo.Counter").GetValue();
    const CounterRef counter(object);
    ASSERT_TRUE(counter);
    EXPECT_EQ(counter.Next(), 1);
    EXPECT_EQ(CounterRef(object).Next(), 2) << "the same data";
    EXPECT_EQ(CounterRef(Create("zoo.Counter").GetValue()).Next(), 1) << "another object's data";
    EXPECT_FALSE(CounterRef(Create("nuvra.UnknownErrorObject").GetValue()));
    EXPECT_EQ(CounterRef().Next(), 0);
    EXPECT_EQ(ErrorClass(DllRef().FindSymbol(CString())), "nuvra.NullPointerErrorObject");
    EXPECT_EQ(ErrorClass(Create("zoo.Unheard")), "nuvra.NullPointerErrorObject");
    host.allocations.FailAll();
    EXPECT_EQ(ErrorClass(Create("zoo.Counter")), "nuvra.OutOfMemoryErrorObject");
}

TEST_F(HostTest, AComponentMayOverrideTheMessageOfAnErrorAndForbidThatItIsCopied) {
    const Class* shouting = Registry::FindClass("nuvra.Classes", "zoo.ShoutErrorObject");
    const ErrorRef error = Table<ErrorInterface>()->Create(shouting, {"place.cpp", 7}, "first");
    EXPECT_STREQ(error.GetClassId(), "zoo.ShoutErrorObject");
    EXPECT_EQ(error.GetMessage().GetView(), "first!");
    const ErrorRef copy(AnyRef(error.Get()).Copy().GetValue().Get());
    error.SetMessage(MakeText("second"));
    EXPECT_EQ(copy.GetMessage().GetView(), "first!") << "the copy has its own text";
    EXPECT_EQ(copy.GetLocation().line, 7);
    EXPECT_STREQ(copy.GetLocation().file, "place.cpp");
    EXPECT_EQ(ErrorClass(Create("zoo.Counter").GetValue().Copy()), "nuvra.FunctionNotImplementedErrorObject");
    EXPECT_EQ(
        host.diagnostics,
        (Texts{"Component zoo.part.CounterImpl has members, but CopyFrom is not implemented!", "Stop"}));
}

TEST_F(HostTest, MembersAreDescribedUnlessTheirComponentIsOutdated) {
    static const auto* counter = Registry::FindClass("nuvra.Classes", "zoo.Counter");
    const auto describe = Table<ObjectInterface>()->DescribeMembers;
    BaseArray<MemberDescription> members;
    EXPECT_TRUE(IsOk(describe(counter, members)));
    ASSERT_EQ(members.GetCount(), 1);
    EXPECT_STREQ(members[0].name.GetText(), "_value");
    EXPECT_STREQ(members[0].dataType.GetText(), "nuvra.DataTypes:nuvra.Int64");
    EXPECT_EQ(ErrorClass(describe(nullptr, members)), "nuvra.NullPointerErrorObject");

    constexpr ComponentInterface kOld{System::kId, nullptr, kOperationCount<System> + 1};
    ComponentRecord record = *counter->components[0].record;
    record.interfaces = &kOld;
    Class outdated = *counter;
    outdated.components[0].record = &record;
    EXPECT_FALSE(describe(&outdated, members).IsOk());
    EXPECT_EQ(members.GetCount(), 1);
    ExpectWords(host.diagnostics.at(0), {"Interface nuvra.System#1 is outdated in module zoo.good"});
}

TEST_F(HostTest, ARegistryIsVisitedInTheOrderOfItsKeysAndMayChangeMeanwhile) {
    static const auto* registry = Table<Registry>();
    static const auto add = [](const char* key, const char* valueId = "some value") {
        return registry->Add("test.Fruit", key, {RegistryEntry::Kind::CLASS, "value", valueId});
    };
    for (const char* key : {"pear", "apple", "fig"}) EXPECT_TRUE(IsOk(add(key)));
    EXPECT_TRUE(IsOk(add("nut", nullptr)));
    EXPECT_FALSE(add("fig").IsOk());
    registry->Remove("test.Nothing", "pear");
    const auto visit = [](void* context, const Id& key, const RegistryEntry& entry) {
        auto& seen = *static_cast<Texts*>(context);
        for (const char* gone : {key.GetText(), "fig"}) registry->Remove("test.Fruit", gone);
        if (seen.empty()) static_cast<void>(add("quince"));
        seen.push_back(std::string(key.GetText()) + " is " + entry.valueId);
    };
    for (const Texts& expected :
         {Texts{"apple is some value", "nut is ", "pear is some value", "quince is some value"}, Texts()}) {
        Texts seen;
        registry->Enumerate("test.Fruit", &seen, visit);
        EXPECT_EQ(seen, expected);
    }
}

TEST_F(HostTest, AWeakReferenceFindsTheObjectUntilItDies) {
    UrlRef url = UrlRef::Create().GetValue();
    host.allocations.FailAll();
    EXPECT_FALSE(WeakRef<UrlRef>(url).Lock()) << "without memory it is empty";
    host.allocations.FailNone();
    const WeakRef<UrlRef> weak(url);
    UrlRef locked = weak.Lock();
    EXPECT_TRUE(locked == url);
    url = nullptr;
    EXPECT_TRUE(IsOk(locked.SetPath(MakeText("still there"))));
    locked = nullptr;
    EXPECT_FALSE(weak.Lock());
    EXPECT_FALSE(WeakRef<UrlRef>(UrlRef()).Lock());
    const WeakRef<AnyRef> ofComponents(Create("zoo.Counter").GetValue());
    EXPECT_FALSE(ofComponents.Lock());
}

TEST_F(HostTest, AReusedControlBlockMeansOnlyItsNewObject) {
    std::vector<WeakRef<UrlRef>> old;
    for (int round = 0; round < 3; round++) {
        std::vector<UrlRef> urls;
        std::vector<WeakRef<UrlRef>> weak;
        for (int i = 0; i < 50; i++) weak.emplace_back(urls.emplace_back(UrlRef::Create().GetValue()));
        for (size_t i = 0; i < urls.size(); i++) EXPECT_TRUE(weak[i].Lock() == urls[i]);
        for (const auto& reference : old)
            EXPECT_FALSE(reference.Lock()) << "of an object of an earlier round";
        for (size_t i = 0; i < weak.size(); i += 2) old.push_back(weak[i]);  // the odd ones' blocks are freed
    }
}

TEST_F(HostTest, ADyingObjectIsNeverBroughtBack) {
    for (int round = 0; round < 300; round++) {
        UrlRef url = UrlRef::Create().GetValue();
        const WeakRef<UrlRef> weak(url);
        const auto lockUntilGone = [&] {
            WeakRef<UrlRef> mine;
            mine = weak;
            while (const UrlRef locked = mine.Lock()) EXPECT_TRUE(locked.GetPath().IsEmpty());
        };
        std::thread threads[] = {std::thread(lockUntilGone), std::thread(lockUntilGone)};
        url = nullptr;
        for (std::thread& thread : threads) thread.join();
    }
}

}  // namespace
}  // namespace nuvra::test
