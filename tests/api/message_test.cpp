#include "tests/api/api_test.h"

using namespace vx;
using namespace vx::testing;
using ::testing::ElementsAre;

using ApiMessage = ApiTest;

TEST_F(ApiMessage, EveryLevelHasItsLine) {
    inside([](void*, miState*, void*) {
        mi_error("%s %d", "error", 1);
        mi_warning("%s: %s", "vx_pc_write", "Invalid");
        mi_progress("%d %%", 50);
        mi_info("%s - V. %d", "vx_pc_tag", 1);
        mi_debug("debug");
        mi_vdebug("two\nlines");
        return miTRUE;
    });
    EXPECT_THAT(lines, ElementsAre("RC 0.0 error: error 1", "RC 0.0 warning: vx_pc_write: Invalid",
                                   "RC 0.0 progress: 50 %", "RC 0.0 info: vx_pc_tag - V. 1",
                                   "RC 0.0 debug: debug", "RC 0.0 vdebug: two lines"));
}

TEST_F(ApiMessage, LongTextsAreWrittenWhole) {
    const std::string text(100000, 'x');
    inside([&](void*, miState*, void*) {
        mi_info("%s", text.c_str());
        return miTRUE;
    });
    EXPECT_THAT(lines, ElementsAre("RC 0.0 info: " + text));
}

TEST_F(ApiMessage, VerbosityIsABitmap) {
    inside([](void*, miState*, void*) {
        mi_set_verbosity(miERR_INFO);
        mi_error("hidden");
        mi_info("shown");
        mi_set_verbosity(miERR_ALL);
        return miTRUE;
    });
    EXPECT_THAT(lines, ElementsAre("RC 0.0 info: shown"));
}

TEST_F(ApiMessage, FatalDoesNotReturn) {
    bool returned = false;
    EXPECT_EQ(fatal([&](void*, miState*, void*) {
                  mi_fatal("no %s", "memory");
                  returned = true;
                  return miTRUE;
              }),
              "RC 0.0 fatal: shader \"test_run\" (instance \"runner\"): no memory");
    EXPECT_FALSE(returned);
}
