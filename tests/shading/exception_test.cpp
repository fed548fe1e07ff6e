// Exceptions that leave the entry points of shaders: messages, locks, and the rest of the render.
#include <dlfcn.h>

#include <array>
#include <atomic>
#include <latch>
#include <new>
#include <stdexcept>
#include <thread>

#include "tests/shading/rig.h"

using namespace vx;
using namespace vx::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class Exceptions : public ::testing::Test, protected Rig {
  protected:
    void SetUp() override {
        load();
        void* const library = dlopen(VX_TEST_SHADERS, RTLD_NOW | RTLD_NOLOAD);
        auto** const variable = static_cast<EntryHook**>(dlsym(library, "test_entry_hook"));
        dlclose(library);
        ASSERT_NE(variable, nullptr);
        *variable = &hook;
        mi_init_lock(&lock);
        waiter = shader("waiter", "test_run");
        ShaderBody nothing = [](void*, miState*, void*) { return miTRUE; };
        state.user = &nothing;
        run(waiter); // its init is over
        state.user = nullptr;
    }
    void TearDown() override { mi_delete_lock(&lock); }

    miTag entries(const std::string& name) { return shader(name, "test_entries"); }
    // The hook throws in the entry point, after `before`.
    template <class Exception>
    void fail_in(
        const std::string& failing, Exception exception,
        const std::function<void()>& before = [] {}) {
        hook = [=](const std::string& entry) -> std::size_t {
            if (entry != failing) return 0;
            before();
            throw exception;
        };
    }
    // Holds the lock in one thread until three others wait for it.
    void hold_until_awaited() {
        mi_lock(lock);
        locked = true;
        while (waiting < 3)
            std::this_thread::yield();
        // Time from the count to the wait itself.
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    enum class Waiting { never_ran, gave_up, got_it };
    // Waits for the lock of hold_until_awaited, in a shader on a thread of its own.
    Waiting wait_for_lock() {
        while (!locked)
            std::this_thread::yield();
        Waiting result = Waiting::never_ran;
        ShaderBody body = [&](void*, miState*, void*) {
            ++waiting;
            mi_lock(lock);
            result = Waiting::got_it;
            mi_unlock(lock);
            return miTRUE;
        };
        miState mine = fresh_state();
        mine.user = &body;
        miColor c{};
        try {
            shading::call_one(context, waiter, &c, &mine, miSHADER_MATERIAL);
        } catch (const shading::RenderAborted&) {
            if (result == Waiting::never_ran) result = Waiting::gave_up;
        }
        return result;
    }
    void expect_lock_is_free() {
        bool taken = false;
        std::thread([&] {
            taken = static_cast<shading::Lock*>(lock)->take(context, false) ==
                    shading::Lock::Result::taken;
            static_cast<shading::Lock*>(lock)->give();
        }).join();
        EXPECT_TRUE(taken);
    }

    EntryHook hook = [](const std::string&) { return 0; };
    miLock lock = nullptr;
    miTag waiter = miNULLTAG;
    std::atomic<bool> locked{false};
    std::atomic<int> waiting{0};
};

} // namespace

TEST_F(Exceptions, ACallThatFailsEndsTheRenderAndIsReportedWithBothNames) {
    const auto reported = [&](auto exception) {
        fail_in("call", exception);
        context.begin_render();
        lines.clear();
        EXPECT_THROW(run(entries("x")), shading::RenderAborted);
        EXPECT_TRUE(context.aborted());
        return lines;
    };
    const std::string shader = "RC 0.0 fatal: shader \"test_entries\" (instance \"x\"): ";
    EXPECT_THAT(reported(shading::OutOfMemory(1234567)),
                ElementsAre(shader + "out of memory: cannot allocate 1234567 bytes"));
    EXPECT_THAT(reported(std::bad_alloc()), ElementsAre(shader + "out of memory"));
    EXPECT_THAT(reported(std::length_error("too long")),
                ElementsAre(shader + "uncaught exception: too long"));
    EXPECT_THAT(reported(42),
                ElementsAre(shader + "uncaught exception that is not a std::exception"));
    context.end_render(state);
}

// Under sanitizers, a failure of operator new ends the program.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(Exceptions, AnAllocationThatAShaderFailsAtIsReportedWithItsSize) {
    constexpr std::size_t kImpossible = std::size_t{1} << 62;
    hook = [](const std::string& entry) { return entry == "call" ? kImpossible : 0; };
    EXPECT_THROW(run(entries("x")), shading::RenderAborted);
    EXPECT_THAT(lines, ElementsAre("RC 0.0 fatal: shader \"test_entries\" (instance \"x\"): out of "
                                   "memory: cannot allocate 4611686018427387904 bytes"));
    context.end_render(state);
}
#endif

TEST_F(Exceptions, AnonymousShadersAreNamedAfterTheirOwner) {
    scene::Camera camera_element;
    camera_element.name = "cam";
    camera_element.lens = {call("test_entries"), call("test_entries")};
    builder.on_camera(camera_element);
    const miTag tag = builder.find(shading::SceneBuilder::Kind::camera, "cam");
    const miTag first = context.database.find<miCamera>(tag, miSCENE_CAMERA)->lens;
    fail_in("call", std::bad_alloc());
    EXPECT_THROW(run(first), shading::RenderAborted);
    context.begin_render();
    EXPECT_THROW(run(function(first).record->next_function), shading::RenderAborted);
    EXPECT_THAT(
        lines,
        ElementsAre(HasSubstr("shader \"test_entries\" (instance \"cam / test_entries\"): "),
                    HasSubstr("shader \"test_entries\" (instance \"cam / test_entries 2\"): ")));
    context.end_render(state);
}

TEST_F(Exceptions, ThreadsThatWaitForALockOfACallThatFailsGiveUp) {
    const miTag tag = entries("x");
    run(tag);
    fail_in("call", std::bad_alloc(), [&] { hold_until_awaited(); });
    std::array<Waiting, 3> results;
    std::vector<std::thread> threads;
    for (Waiting& result : results)
        threads.emplace_back([&] { result = wait_for_lock(); });
    EXPECT_THROW(run(tag), shading::RenderAborted);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(results, Each(Waiting::gave_up));
    EXPECT_THAT(lines, ElementsAre("RC 0.0 fatal: shader \"test_entries\" (instance \"x\"): out of "
                                   "memory"));
    expect_lock_is_free();
    context.end_render(state);
}

TEST_F(Exceptions, ThreadsThatFailAtOnceAreReportedOnce) {
    const miTag tag = entries("x");
    run(tag);
    std::latch both(2);
    fail_in("call", 42, [&] { both.arrive_and_wait(); });
    std::atomic<int> aborted{0};
    const auto call = [&] {
        miState mine = fresh_state();
        miColor c{};
        try {
            shading::call_one(context, tag, &c, &mine, miSHADER_MATERIAL);
        } catch (const shading::RenderAborted&) {
            ++aborted;
        }
    };
    std::thread other(call);
    call();
    other.join();
    EXPECT_EQ(aborted, 2);
    EXPECT_EQ(lines.size(), 1u);
    context.end_render(state);
}

TEST_F(Exceptions, EachOfNestedCallsGivesBackItsOwnLocks) {
    const miTag tag = entries("inner");
    miLock outer_lock = nullptr;
    mi_init_lock(&outer_lock);
    fail_in("call", std::bad_alloc(), [&] { mi_lock(lock); });
    inside([&](void*, miState* s, void*) {
        mi_lock(outer_lock);
        miColor c{};
        EXPECT_THROW(mi_call_shader(&c, miSHADER_MATERIAL, s, tag), shading::RenderAborted);
        expect_lock_is_free();
        // Caught here, so this call has not ended and keeps its locks.
        EXPECT_FALSE(static_cast<shading::Lock*>(lock)->give());
        EXPECT_TRUE(static_cast<shading::Lock*>(outer_lock)->give());
        static_cast<shading::Lock*>(outer_lock)->take(context, false);
        mi_unlock(outer_lock);
        return miTRUE;
    });
    mi_delete_lock(&outer_lock);
    EXPECT_THAT(lines, ElementsAre(HasSubstr("(instance \"inner\"): out of memory")));
    context.end_render(state);
}

TEST_F(Exceptions, LocksThatEarlierCallsLeftTakenStayTaken) {
    inside([&](void*, miState*, void*) {
        mi_lock(lock);
        return miTRUE;
    });
    fail_in("call", std::bad_alloc());
    EXPECT_THROW(run(entries("x")), shading::RenderAborted);
    EXPECT_TRUE(static_cast<shading::Lock*>(lock)->give());
    context.end_render(state);
}

TEST_F(Exceptions, LocksAreGivenBackWhenAShaderEndsTheRenderItself) {
    EXPECT_THROW(inside([&](void*, miState*, void*) {
                     mi_lock(lock);
                     mi_fatal("enough");
                     return miTRUE;
                 }),
                 shading::RenderAborted);
    expect_lock_is_free();
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(Exceptions, ALockThatIsDeletedWhileHeldIsForgotten) {
    EXPECT_THROW(inside([&](void*, miState*, void*) {
                     miLock own = nullptr;
                     mi_init_lock(&own);
                     mi_lock(own);
                     mi_delete_lock(&own);
                     throw std::bad_alloc();
                     return miTRUE;
                 }),
                 shading::RenderAborted);
}

TEST_F(Exceptions, AShaderWhoseVersionFailsIsRefused) {
    fail_in("version", std::bad_alloc(), [&] { mi_lock(lock); });
    EXPECT_THAT(run(entries("x")), IsColor(0, 0, 0, 0));
    EXPECT_THAT(run(entries("y")), IsColor(0, 0, 0, 0));
    EXPECT_THAT(lines, ElementsAre("RC 0.0 error: shader \"test_entries\" is refused: "
                                   "test_entries_version: out of memory"));
    EXPECT_TRUE(context.shaders_failed());
    EXPECT_FALSE(context.aborted());
    expect_lock_is_free();
    context.end_render(state);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(Exceptions, AShaderWhoseInitFailsIsRefused) {
    fail_in("init", 42, [&] { mi_lock(lock); });
    EXPECT_THAT(run(entries("x")), IsColor(0, 0, 0, 0));
    EXPECT_THAT(run(entries("y")), IsColor(0, 0, 0, 0));
    EXPECT_THAT(lines, ElementsAre("RC 0.0 error: shader \"test_entries\" is refused: "
                                   "test_entries_init: uncaught exception that is not a "
                                   "std::exception"));
    EXPECT_TRUE(context.shaders_failed());
    EXPECT_FALSE(context.aborted());
    expect_lock_is_free();
    context.end_render(state);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(Exceptions, AnInstanceWhoseInitFailsIsRefusedAndTheOthersRun) {
    const miTag x = entries("x");
    const miTag y = entries("y");
    fail_in("instance init", shading::OutOfMemory(99));
    EXPECT_THAT(run(x), IsColor(0, 0, 0, 0));
    EXPECT_THAT(run(x), IsColor(0, 0, 0, 0));
    EXPECT_THAT(lines, ElementsAre("RC 0.0 error: shader \"test_entries\" (instance \"x\") is "
                                   "refused: test_entries_init: out of memory: cannot allocate 99 "
                                   "bytes"));
    EXPECT_TRUE(context.shaders_failed());
    EXPECT_FALSE(context.aborted());

    std::vector<std::string> entered;
    hook = [&](const std::string& entry) {
        entered.push_back(entry);
        return 0;
    };
    EXPECT_THAT(run(x), IsColor(0, 0, 0, 0));
    EXPECT_THAT(run(y), IsColor(1, 1, 1, 1));
    context.end_render(state);
    EXPECT_THAT(entered, ElementsAre("instance init", "call", "instance exit", "exit"));

    // The next render starts over.
    context.begin_render();
    EXPECT_THAT(run(x), IsColor(1, 1, 1, 1));
    EXPECT_FALSE(context.shaders_failed());
    context.end_render(state);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(Exceptions, ThreadsThatWaitForALockOfAnInitThatFailsGetIt) {
    const miTag tag = entries("x");
    fail_in("instance init", std::bad_alloc(), [&] { hold_until_awaited(); });
    std::array<Waiting, 3> results;
    std::vector<std::thread> threads;
    for (Waiting& result : results)
        threads.emplace_back([&] { result = wait_for_lock(); });
    EXPECT_THAT(run(tag), IsColor(0, 0, 0, 0));
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(results, Each(Waiting::got_it));
    EXPECT_EQ(lines.size(), 1u);
    context.end_render(state);
}

TEST_F(Exceptions, ThreadsThatWaitForAnInitThatFailsFindTheInstanceRefused) {
    const miTag tag = entries("x");
    std::latch both(2);
    fail_in("instance init", std::bad_alloc(), [&] {
        both.arrive_and_wait();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    });
    bool other_ran = true;
    std::thread other([&] {
        miState mine = fresh_state();
        miColor c{};
        both.arrive_and_wait();
        other_ran = shading::call_one(context, tag, &c, &mine, miSHADER_MATERIAL);
    });
    EXPECT_THAT(run(tag), IsColor(0, 0, 0, 0));
    other.join();
    EXPECT_FALSE(other_ran);
    EXPECT_EQ(lines.size(), 1u);
    context.end_render(state);
}

TEST_F(Exceptions, AFailureOfAShaderThatAnInitEvaluatesEndsTheRender) {
    shader("inner", "test_entries");
    const miTag outer = shader("outer", "test_scalar", {set("value", connection("inner"))});
    fail_in("call", std::bad_alloc());
    EXPECT_THROW(run(outer), shading::RenderAborted);
    EXPECT_THAT(lines, ElementsAre("RC 0.0 fatal: shader \"test_entries\" (instance \"inner\"): "
                                   "out of memory"));
    context.end_render(state);
}

TEST_F(Exceptions, FailedExitsAreReportedAndTheOthersRun) {
    const miTag x = entries("x");
    const miTag y = entries("y");
    run(x);
    run(y);
    run(shader("z", "test_simple_life"));
    lines.clear();
    int exits = 0;
    hook = [&](const std::string&) -> std::size_t {
        mi_lock(lock); // the previous exit's lock has been released
        EXPECT_FALSE(context.aborted());
        ++exits;
        if (exits == 1) throw shading::OutOfMemory(7);
        if (exits == 2) mi_fatal("cannot close");
        throw 42;
    };
    context.end_render(state);
    EXPECT_THAT(
        lines,
        ElementsAre("RC 0.0 error: shader \"test_entries\" (instance \"x\"): test_entries_exit: "
                    "out of memory: cannot allocate 7 bytes",
                    "RC 0.0 fatal: shader \"test_entries\" (instance \"y\"): cannot close",
                    "RC 0.0 error: shader \"test_entries\": test_entries_exit: uncaught exception "
                    "that is not a std::exception",
                    "RC 0.0 info: simple exit shader"));
    EXPECT_TRUE(context.shaders_failed());
    EXPECT_FALSE(context.aborted());
    expect_lock_is_free();
}

TEST_F(Exceptions, ExitsRunAfterACallThatFailed) {
    const miTag tag = entries("x");
    fail_in("call", std::bad_alloc(), [&] { mi_lock(lock); });
    EXPECT_THROW(run(tag), shading::RenderAborted);
    std::vector<std::string> entered;
    hook = [&](const std::string& entry) {
        mi_lock(lock);
        mi_unlock(lock);
        entered.push_back(entry);
        return 0;
    };
    context.end_render(state);
    EXPECT_THAT(entered, ElementsAre("instance exit", "exit"));
    EXPECT_TRUE(context.aborted());
}
