// The job: its states, its assertions, and a worker thread beside a polling one.
#include "vel_job.h"

#include "vel_death_test.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <thread>

namespace
{

struct VelJob : testing::Test {
    vel_job job;

    VelJob()
    {
        vel_job_init(&job, "Searching");
    }

    ~VelJob() override
    {
        vel_job_done(&job);
    }

    static GError *make_error()
    {
        return g_error_new_literal(g_quark_from_static_string("vel-job-test"), 7, "It broke");
    }
};

using VelJobDeathTest = VelJob;

} // namespace

TEST_F(VelJob, NewOneHasNoProgressNoErrorAndIsNotComplete)
{
    EXPECT_EQ(vel_job_get_progress(&job), 0.0F);
    EXPECT_FALSE(vel_job_is_complete(&job));
    EXPECT_EQ(vel_job_get_error(&job), nullptr);
}

TEST_F(VelJob, MembersKeepTheirOrderFromTheMutexOn)
{
    EXPECT_EQ(offsetof(vel_job, mutex), 0U);
    EXPECT_LT(offsetof(vel_job, mutex), offsetof(vel_job, progress));
    EXPECT_LT(offsetof(vel_job, progress), offsetof(vel_job, name));
    EXPECT_LT(offsetof(vel_job, name), offsetof(vel_job, complete));
    EXPECT_LT(offsetof(vel_job, complete), offsetof(vel_job, error));
}

TEST(VelJobInit, CopiesTheNameAndOverwritesWhatWasThere)
{
    gchar name[] = "Searching";
    vel_job job;
    std::memset(&job, 0xa5, sizeof job);
    vel_job_init(&job, name);
    name[0] = 'X';
    EXPECT_STREQ(job.name, "Searching");
    EXPECT_EQ(vel_job_get_progress(&job), 0.0F);
    EXPECT_FALSE(vel_job_is_complete(&job));
    EXPECT_EQ(vel_job_get_error(&job), nullptr);
    vel_job_done(&job);
}

TEST_F(VelJob, ProgressMayGoAnywhere)
{
    for (const gfloat progress : {0.25F, 1.0F, 0.5F, -3.0F, 17.0F}) {
        vel_job_set_progress(&job, progress);
        EXPECT_EQ(vel_job_get_progress(&job), progress);
    }
}

TEST_F(VelJob, ErrorDoesNotCompleteIt)
{
    GError *const error = make_error();
    vel_job_set_error(&job, error);
    EXPECT_EQ(vel_job_get_error(&job), error);
    EXPECT_FALSE(vel_job_is_complete(&job));
}

TEST_F(VelJob, ErrorAndCompletionAreBothVisible)
{
    GError *const error = make_error();
    vel_job_set_error(&job, error);
    vel_job_complete(&job);
    EXPECT_TRUE(vel_job_is_complete(&job));
    EXPECT_EQ(vel_job_get_error(&job), error);
    EXPECT_STREQ(vel_job_get_error(&job)->message, "It broke");
}

TEST(VelJobDone, ClearsTheErrorField)
{
    vel_job job;
    vel_job_init(&job, "Searching");
    vel_job_set_error(&job, g_error_new_literal(g_quark_from_static_string("vel-job-test"), 7, ""));
    vel_job_done(&job);
    EXPECT_EQ(job.error, nullptr);
}

TEST(VelJobDone, WithoutAnErrorFreesTheName)
{
    // What it frees, and that it frees nothing else, is what the address sanitizer's build looks
    // at.
    vel_job job;
    vel_job_init(&job, "Searching");
    vel_job_done(&job);
    EXPECT_EQ(job.error, nullptr);
}

TEST_F(VelJob, AnotherThreadSeesProgressCompletionAndError)
{
    static constexpr int steps = 50;
    // Counted without an order of memory, so that nothing but the mutex keeps the threads apart.
    std::atomic<int> looks{0};
    const auto wait_for_a_look = [&looks] {
        const int seen = looks.load(std::memory_order_relaxed);
        while (looks.load(std::memory_order_relaxed) < seen + 2)
            std::this_thread::yield();
    };
    std::thread worker([this, &wait_for_a_look] {
        for (int i = 1; i <= steps; i++) {
            vel_job_set_progress(&job, static_cast<gfloat>(i) / static_cast<gfloat>(steps));
            wait_for_a_look();
        }
        vel_job_set_error(&job, make_error());
        wait_for_a_look();
        vel_job_complete(&job);
    });
    gfloat last = 0.0F;
    while (!vel_job_is_complete(&job)) {
        const gfloat progress = vel_job_get_progress(&job);
        EXPECT_GE(progress, last);
        last = progress;
        for (int i = 0; i < 100; i++) {
            const GError *const error = vel_job_get_error(&job);
            EXPECT_TRUE(error == nullptr || last > 0.0F);
        }
        looks.fetch_add(1, std::memory_order_relaxed);
    }
    worker.join();
    EXPECT_EQ(vel_job_get_progress(&job), 1.0F);
    EXPECT_STREQ(vel_job_get_error(&job)->message, "It broke");
}

TEST_F(VelJobDeathTest, SecondCompletionFailsItsAssertion)
{
    vel_job_complete(&job);
    VEL_EXPECT_FATAL(vel_job_complete(&job), "assertion failed: (!this->complete)");
}

TEST_F(VelJobDeathTest, AssertionsNameSourceAndFunction)
{
    vel_job_complete(&job);
    VEL_EXPECT_FATAL(vel_job_complete(&job), "ERROR:velcommon/src/vel_job.cpp:");
    VEL_EXPECT_FATAL(vel_job_complete(&job), ":vel_job_complete: ");
}

TEST_F(VelJobDeathTest, SecondErrorFailsItsAssertion)
{
    vel_job_set_error(&job, make_error());
    GError *const second = make_error();
    VEL_EXPECT_FATAL(vel_job_set_error(&job, second), "assertion failed: (this->error == NULL)");
    g_error_free(second);
}

TEST_F(VelJobDeathTest, NullErrorFailsItsAssertion)
{
    VEL_EXPECT_FATAL(vel_job_set_error(&job, nullptr), "assertion failed: (error != NULL)");
}

TEST_F(VelJobDeathTest, NullErrorAfterAnErrorFailsTheFirstAssertion)
{
    vel_job_set_error(&job, make_error());
    VEL_EXPECT_FATAL(vel_job_set_error(&job, nullptr), "assertion failed: (this->error == NULL)");
}
