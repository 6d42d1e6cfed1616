// What a worker thread reports to the UI thread about one long task: how far it is, that it has
// finished, and the error that stopped it. Exactly two threads use a job; every access to progress,
// complete and error takes the mutex.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// Its storage belongs to the user of the job.
typedef struct vel_job {
    GMutex mutex;      ///< Guards progress, complete and error.
    gfloat progress;   ///< Fraction of the work done, 0.0 to 1.0; not checked. Guarded.
    gchar *name;       ///< UTF-8, owned. Written by vel_job_init() alone, hence not guarded.
    gboolean complete; ///< Set once, as the worker's last act on the job. Guarded.
    GError *error;     ///< What stopped the task; owned, null while there is none. Guarded.
} vel_job;

/// Makes a job with progress 0.0, not complete, without an error. UI thread, before any worker.
/// @param job   uninitialised; what it held is not freed
/// @param name  UTF-8, copied
void vel_job_init(vel_job *job, const gchar *name);

/// Frees the error, if any, and the name. UI thread, after the worker was joined.
void vel_job_done(vel_job *job);

/// Tells the fraction of the work done. Any thread.
gfloat vel_job_get_progress(vel_job *job);

/// Sets the fraction of the work done; it may also go back. Any thread.
/// @param progress  0.0 to 1.0, not checked
void vel_job_set_progress(vel_job *job, gfloat progress);

/// Marks the job complete. A second call fails the assertion "!this->complete". Any thread.
void vel_job_complete(vel_job *job);

/// Tells whether the job is complete. Any thread.
gboolean vel_job_is_complete(vel_job *job);

/// Stores the error that stopped the task; the job does not become complete by it. Any thread.
/// @param error  taken over by the job. A second error fails the assertion "this->error == NULL",
///               a null pointer "error != NULL".
void vel_job_set_error(vel_job *job, GError *error);

/// Tells the error that stopped the task. Any thread.
/// @return borrowed, valid until vel_job_done(); null while there is none
GError *vel_job_get_error(vel_job *job);

G_END_DECLS
