// The job that a worker thread and the UI thread share.
#include "vel_job.h"

#include "vel_assert.h"

static_assert(offsetof(vel_job, mutex) == 0, "the mutex comes first");

void vel_job_init(vel_job *job, const gchar *name)
{
    *job = {};
    job->name = g_strdup(name);
    g_mutex_init(&job->mutex);
}

void vel_job_done(vel_job *job)
{
    g_clear_error(&job->error);
    g_free(job->name);
}

gfloat vel_job_get_progress(vel_job *job)
{
    g_mutex_lock(&job->mutex);
    const gfloat progress = job->progress;
    g_mutex_unlock(&job->mutex);
    return progress;
}

void vel_job_set_progress(vel_job *job, gfloat progress)
{
    g_mutex_lock(&job->mutex);
    job->progress = progress;
    g_mutex_unlock(&job->mutex);
}

void vel_job_complete(vel_job *job)
{
    g_mutex_lock(&job->mutex);
    vel_assert_as(!job->complete, "!this->complete");
    job->complete = TRUE;
    g_mutex_unlock(&job->mutex);
}

gboolean vel_job_is_complete(vel_job *job)
{
    g_mutex_lock(&job->mutex);
    const gboolean complete = job->complete;
    g_mutex_unlock(&job->mutex);
    return complete;
}

void vel_job_set_error(vel_job *job, GError *error)
{
    g_mutex_lock(&job->mutex);
    vel_assert_as(job->error == nullptr, "this->error == NULL");
    vel_assert_as(error != nullptr, "error != NULL");
    job->error = error;
    g_mutex_unlock(&job->mutex);
}

GError *vel_job_get_error(vel_job *job)
{
    g_mutex_lock(&job->mutex);
    GError *const error = job->error;
    g_mutex_unlock(&job->mutex);
    return error;
}
