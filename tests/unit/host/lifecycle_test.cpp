#include "nuvra/diagnostic.h"
#include "nuvra/dll.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

const Class* FindCounter() {
    return Registry::FindClass(zoo::kRegistry, zoo::kCounterKey);
}

AnyRef MakeCounter() {
    return Table<ObjectInterface>()->Create(FindCounter()).GetValue();
}

TEST(LifecycleTest, ModulesStartBehindWhatTheyNeedAndEndInReverse) {
    // The order of loading does not matter; "user" uses what "server" implements, and names it nowhere.
    const Texts tree{"+zoo.base", "+zoo.middle", "+zoo.top", "-zoo.top", "-zoo.middle", "-zoo.base"};
    const Texts pair{"+zoo.server", "+zoo.user", "served", "-zoo.user", "-zoo.server"};
    for (const auto& [order, log] : {std::pair(Texts{"base", "middle", "top"}, tree),
                                     {{"top", "base", "middle"}, tree},
                                     {{"middle", "top", "base"}, tree},
                                     {{"user", "server"}, pair},
                                     {{"server", "user"}, pair}}) {
        TestHost host;
        EXPECT_TRUE(IsOk(host.Start(ZooFiles(order))));
        EXPECT_EQ(host.host.Shutdown(), Texts());
        EXPECT_EQ(TakeLog(), log);
        for (const std::string& file : ZooFiles(order)) EXPECT_FALSE(IsLoaded(file)) << file;
        EXPECT_EQ(host.diagnostics, Texts());
    }
}

TEST(LifecycleTest, AFailingInitializerIsNamedAndTakesDownWhatWasStarted) {
    TestHost host;
    const Texts files = ZooFiles({"base", "failing", "middle"});
    const Result<void> result = host.Start(files);
    EXPECT_NE(ErrorText(result).find("\"zoo.failing\""), std::string::npos) << ErrorText(result);
    EXPECT_NE(ErrorText(result).find("the weather is bad"), std::string::npos) << ErrorText(result);
    EXPECT_EQ(TakeLog(), (Texts{"+zoo.base", "+zoo.middle", "-zoo.middle", "-zoo.base"}))
        << "the failed module has nothing to end";
    for (const std::string& file : files) EXPECT_FALSE(IsLoaded(file)) << file;
}

TEST(LifecycleTest, LoadingAndUnloadingManyTimesLeavesNothing) {
    const Texts files = ZooFiles({"good", "base"});
    Int before = 0;
    for (int i = 0; i < 100; i++) {
        TestHost host;
        if (i == 0) before = host::CountAllocations();
        ASSERT_TRUE(IsOk(host.Start(files)));
        {
            const AnyRef counter = MakeCounter();
            ASSERT_TRUE(WeakRef<AnyRef>(counter).Lock());
        }
        ASSERT_EQ(host.host.Shutdown(), Texts());
        for (const std::string& file : files) ASSERT_FALSE(IsLoaded(file)) << file;
        ASSERT_EQ(FindCounter(), nullptr);
        ASSERT_EQ(TakeLog(), (Texts{"+zoo.base", "+zoo.good", "-zoo.good", "-zoo.base"}));
        ASSERT_EQ(host.diagnostics, Texts());
    }
    EXPECT_EQ(host::CountAllocations(), before);
}

TEST(LifecycleTest, AModuleWithLiveObjectsStaysLoadedWithAllThatItNeeds) {
    const Texts kept = ZooFiles({"base", "good"});
    AnyRef survivor;
    {
        TestHost host;
        ASSERT_TRUE(IsOk(host.Start(ZooFiles({"good", "base", "middle", "top"}))));
        survivor = MakeCounter();
        TakeLog();
        EXPECT_EQ(host.host.Shutdown(), (Texts{"zoo.good", "zoo.base"}));
        EXPECT_EQ(TakeLog(), (Texts{"-zoo.top", "-zoo.middle"})) << "what stays is not finalized";
        ASSERT_EQ(host.diagnostics.size(), 2U);
        EXPECT_NE(host.diagnostics[0].find("\"zoo.good\""), std::string::npos);
        EXPECT_NE(host.diagnostics[0].find("1 of its objects"), std::string::npos);
        EXPECT_NE(host.diagnostics[1].find("\"zoo.base\""), std::string::npos);
        EXPECT_EQ(FindCounter(), nullptr) << "its registrations are gone all the same";
    }
    for (const std::string& file : kept) EXPECT_TRUE(IsLoaded(file)) << file;
    EXPECT_FALSE(IsLoaded(ZooFile("middle")));
    EXPECT_FALSE(IsLoaded(ZooFile("top")));
    {
        TestHost next;
        for (const std::string& file : kept)
            EXPECT_NE(ErrorText(next.host.LoadModules(file)).find("still in use"), std::string::npos)
                << "it cannot start a second time while it is in use";
    }
    EXPECT_EQ(TakeLog(), Texts());

    survivor = nullptr;  // without any host
    {
        TestHost next;
        EXPECT_EQ(TakeLog(), Texts()) << "ended when the next host began, before its log was there";
        for (const std::string& file : kept) EXPECT_FALSE(IsLoaded(file)) << file;
        EXPECT_TRUE(IsOk(next.Start(kept)));
        survivor = MakeCounter();
        EXPECT_EQ(next.host.Shutdown().size(), 2U);
        EXPECT_EQ(TakeLog(), (Texts{"+zoo.base", "+zoo.good"}));
        survivor = nullptr;
        EXPECT_TRUE(IsOk(next.Start(kept))) << "nor need there be another host";
    }
    EXPECT_EQ(TakeLog(), (Texts{"+zoo.base", "+zoo.good", "-zoo.good", "-zoo.base"}));
}

TEST(LifecycleTest, BeforeThereIsAHostEveryCallIsAnError) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process of its own, which has had no host
    const auto use = [] {
        Diagnostic::Write("nobody hears it", {});
        bool isRight = FindCounter() == nullptr;
        for (const ErrorRef& error :
             {UrlRef::Create().GetError(), String::FromCText("text").GetError(),
              BaseArray<Int>().Append(1).GetError(), DllRef::Load(UrlRef(), true).GetError()}) {
            error.SetMessage(String());
            isRight = isRight && error.GetMessage().GetView() == "there is no host" &&
                      std::string_view(error.GetClassId()) == "nuvra.NullPointerErrorObject" &&
                      error.GetLocation().line == 0 && !VirtualRef<zoo::Counter>(AnyRef(error.Get()));
        }
        std::exit(isRight ? 0 : 1);
    };
    EXPECT_EXIT(use(), testing::ExitedWithCode(0), "");
}

TEST(LifecycleTest, ServicesOutliveTheHost) {
    ErrorRef error;
    UrlRef url;
    {
        TestHost host;
        ASSERT_TRUE(IsOk(host.Start()));
        error = NewError<UnknownErrorObject>("held");
        url = UrlRef::Create().GetValue();
    }
    EXPECT_EQ(error.GetMessage().GetView(), "held");
    EXPECT_TRUE(IsOk(url.SetPath(MakeText("a path"))));
    EXPECT_TRUE(WeakRef<ErrorRef>(error).Lock() == error);
}

TEST(LifecycleTest, AnOutdatedComponentMakesItsClassesUnavailable) {
    const std::string message =
        "Interface nuvra.ErrorInterface#1 is outdated in module zoo.outdated, so the module can't define a "
        "component which implements the interface.";
    TestHost host;
    EXPECT_TRUE(IsOk(host.Start(ZooFiles({"outdated"})))) << "the module itself runs";
    EXPECT_EQ(host.diagnostics, Texts{message});
    for (const char* id : {"zoo.OutdatedErrorObject", "zoo.DerivedErrorObject"})
        EXPECT_EQ(Registry::FindClass("nuvra.Classes", id), nullptr) << id;
    EXPECT_EQ(Registry::FindClass(zoo::kRegistry, "outdated"), nullptr);
}

}  // namespace
}  // namespace nuvra::test
