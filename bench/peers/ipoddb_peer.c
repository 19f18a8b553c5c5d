/* ipoddb_peer: libgpod's side of bench_itunesdb_parse, timing its reading of an iPod tree. */

/*
 *   ipoddb_peer --time N MOUNTDIR    parses once to warm up, then N times; prints
 *                                    "itdb_parse\t<median ms>\t<tracks>" and
 *                                    "itdb_parse_file\t<median ms>\t<tracks>"
 *   ipoddb_peer --peak MOUNTDIR      parses once and prints "peak\t<VmHWM kB>\t<tracks>"
 *   ipoddb_peer --baseline           prints "peak\t<VmHWM kB>\t0" without parsing
 *
 * itdb_parse reads the whole device (SysInfo, iTunesDB, ArtworkDB when there
 * is one); itdb_parse_file reads the iTunesDB alone.  Both read the file
 * themselves, so the time counts reading it; freeing the result is not timed.
 * TZ is left as inherited: it changes what a date conversion costs, and
 * bench_itunesdb_parse runs both readers in the same environment.
 */
#define _GNU_SOURCE
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <glib.h>
#include <gpod/itdb.h>

static double now_ms(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

static int cmp_double(const void *a, const void *b)
{
    double x = *(const double *)a, y = *(const double *)b;
    return x < y ? -1 : x > y;
}

static double median(double *v, int n)
{
    qsort(v, (size_t)n, sizeof *v, cmp_double);
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

/* The peak resident set of this process, in kB; -1 when /proc cannot tell. */
static long peak_kb(void)
{
    FILE *f = fopen("/proc/self/status", "r");
    if (!f) return -1;
    char line[256];
    long kb = -1;
    while (fgets(line, sizeof line, f))
        if (!strncmp(line, "VmHWM:", 6)) { kb = strtol(line + 6, NULL, 10); break; }
    fclose(f);
    return kb;
}

static Itdb_iTunesDB *parse(const char *mount, const char *dbpath, int whole_device)
{
    GError *err = NULL;
    Itdb_iTunesDB *db = whole_device ? itdb_parse(mount, &err) : itdb_parse_file(dbpath, &err);
    if (!db) {
        fprintf(stderr, "ipoddb_peer: %s failed: %s\n", whole_device ? "itdb_parse" : "itdb_parse_file",
                err ? err->message : "?");
        exit(1);
    }
    return db;
}

static void time_parse(const char *name, int n, const char *mount, const char *dbpath, int whole_device)
{
    double *v = g_new(double, n);
    guint tracks = 0;
    itdb_free(parse(mount, dbpath, whole_device)); /* the file into the page cache, the allocator warm */
    for (int i = 0; i < n; i++) {
        double t0 = now_ms();
        Itdb_iTunesDB *db = parse(mount, dbpath, whole_device);
        v[i] = now_ms() - t0;
        tracks = itdb_tracks_number(db);
        itdb_free(db);
    }
    printf("%s\t%.3f\t%u\n", name, median(v, n), tracks);
    g_free(v);
}

static void usage(void)
{
    fprintf(stderr, "usage: ipoddb_peer --time N MOUNTDIR | --peak MOUNTDIR | --baseline\n");
    exit(2);
}

int main(int argc, char **argv)
{
    if (argc == 2 && !strcmp(argv[1], "--baseline")) {
        printf("peak\t%ld\t0\n", peak_kb());
        return 0;
    }
    if (argc == 3 && !strcmp(argv[1], "--peak")) {
        Itdb_iTunesDB *db = parse(argv[2], NULL, 1);
        printf("peak\t%ld\t%u\n", peak_kb(), itdb_tracks_number(db));
        itdb_free(db);
        return 0;
    }
    if (argc != 4 || strcmp(argv[1], "--time")) usage();
    int n = atoi(argv[2]);
    if (n < 1) usage();
    const char *mount = argv[3];
    char *dbpath = itdb_get_itunesdb_path(mount);
    if (!dbpath) {
        fprintf(stderr, "ipoddb_peer: no iTunesDB under %s\n", mount);
        return 1;
    }
    time_parse("itdb_parse", n, mount, dbpath, 1);
    time_parse("itdb_parse_file", n, mount, dbpath, 0);
    g_free(dbpath);
    return 0;
}
