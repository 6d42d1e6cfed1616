// Frees a block twice. The system's complaint must be taken for a failure by whoever runs this.
#include <glib.h>

int main()
{
    gchar *volatile block = static_cast<gchar *>(g_malloc(48));
    gchar *const first = block;
    g_free(first);
    g_free(block);
    return 0;
}
