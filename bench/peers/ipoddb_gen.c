/* ipoddb_gen: writes a fake iPod tree with libgpod, the input of bench_itunesdb_parse. */

/*
 *   ipoddb_gen MOUNTDIR NTRACKS NPLAYLISTS SEED
 *
 * Creates MOUNTDIR/iPod_Control/{iTunes,Device,Artwork,Music/Fxx}, a SysInfo naming an
 * iPod video 5G and an iTunesDB written by itdb_write.  No cover art and no
 * photos: the benchmark compares readers of the iTunesDB alone, and artwork
 * would give libgpod's itdb_parse work that ours does not do (itdb_write still
 * leaves an ArtworkDB without entries, under 1 kB).
 *
 * NPLAYLISTS counts the visible playlists: "Podcasts", "Purchased Music",
 * smart playlists (about a quarter) and plain ones; the hidden master
 * playlist comes on top.  Titles mix scripts (accents, CJK, emoji) as real
 * libraries do, and every value comes from a SplitMix64 generator seeded with
 * SEED, so the same arguments give byte-identical files.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <glib.h>
#include <gpod/itdb.h>

/* ---------------------------------------------------------------- rng */

static uint64_t rng_state;

static uint64_t rnd64(void)
{
    uint64_t z = (rng_state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

static uint32_t rndu(uint32_t n) { return n ? (uint32_t)(rnd64() % n) : 0; }
static int chance(int percent) { return (int)rndu(100) < percent; }
#define PICK(arr) (arr[rndu(G_N_ELEMENTS(arr))])

/* ---------------------------------------------------------- word pools */

static const char *W_EN[] = {
    "Love", "Night", "Blue", "Dream", "Fire", "Rain", "Heart", "Road",
    "Light", "Summer", "Ghost", "River", "Gold", "Stone", "Echo", "Shadow",
    "Morning", "Electric", "Silver", "Wild", "Broken", "Paper", "Neon",
    "Ocean", "Midnight", "Velvet", "Static", "Honey", "Thunder", "Glass"};
static const char *W_ACC[] = {
    "Café", "Über", "Niño", "Crème Brûlée", "Ægir", "Øresund", "Señorita",
    "Façade", "Naïve", "Smörgåsbord", "Déjà Vu", "Ça Va", "Jalapeño",
    "Zürich", "Ångström", "Piñata", "Fiancée", "Łódź", "Dvořák", "İstanbul"};
static const char *W_CJK[] = {
    "東京", "夜明け", "사랑", "月亮", "さくら", "青い空", "北京", "서울",
    "雨の日", "星", "音楽", "夢", "風", "愛してる", "光"};
static const char *W_EMOJI[] = {
    "🎵", "🔥", "🌙", "💔", "🎸", "✨", "🌊", "🚀", "❤️", "👍🏽", "🇯🇵", "☕"};
static const char *W_OTHER[] = {
    "Москва", "Ночь", "Αθήνα", "שלום", "مرحبا", "Привет", "Ελπίδα", "नमस्ते"};
static const char *W_PUNCT[] = {
    "\"Quoted\"", "Back\\slash", "Rock & Roll", "<Tag>", "50% Off", "It's",
    "Tab\tInside", "Colon: Part 2", "Slash/Name", "Semi;colon"};

static const char *FIRST[] = {
    "John", "Marie", "Björk", "Sigur", "Ryuichi", "Hikaru", "Ana", "Zoë",
    "Léa", "Dmitri", "Yōko", "Chloé", "Nils", "Amadou", "Mariam", "Jürgen",
    "Søren", "Ólafur", "김", "王", "Αλέξης", "Ivan"};
static const char *LAST[] = {
    "Smith", "Dupont", "Guðmundsdóttir", "Rós", "Sakamoto", "Utada",
    "Müller", "Nørgaard", "Arnalds", "Bagayoko", "Doumbia", "Коваленко",
    "민수", "菲", "Παπαδόπουλος", "Hernández", "O'Brien", "Kowalczyk"};
static const char *BANDS[] = {
    "The Strokes", "The Cure", "Daft Punk", "Sigur Rós", "Mötley Crüe",
    "Queensrÿche", "東京事変", "BTS (방탄소년단)", "Motörhead", "Blue Öyster Cult",
    "Les Négresses Vertes", "AC/DC", "Sunn O)))", "!!!", "Florence + the Machine"};
static const char *GENRES[] = {
    "Rock", "Pop", "Jazz", "Classical", "Hip-Hop", "Electronic", "Folk",
    "Blues", "Country", "Reggae", "Metal", "Soul", "Ambient", "J-Pop",
    "K-Pop", "Chanson", "Musique Électronique", "Soundtrack", "World",
    "Alternative Rock"};
static const char *SHOWS[] = {
    "Tech Talk Weekly", "Le Journal 🎙️", "ラジオ日本", "Science Friday",
    "History Hour", "Código Abierto"};
static const char *CATEGORIES[] = {
    "Technology", "News & Politics", "Comedy", "Science & Medicine",
    "Society & Culture", "Arts"};
static const char *PL_NAMES[] = {
    "Road Trip 🚗", "Café del Mar Mix", "日本の歌", "Workout", "Chill / Study",
    "Party 🎉", "Sunday Morning", "Ελληνικά", "Rock: Classics", "Русский рок"};

/* -------------------------------------------------------- string utils */

static char *make_phrase(int style, int min_words, int max_words)
{
    GString *s = g_string_new(NULL);
    int n = min_words + (int)rndu((uint32_t)(max_words - min_words + 1));
    for (int i = 0; i < n; i++) {
        const char *w;
        switch (style) {
        case 1: w = (i % 2) ? PICK(W_ACC) : PICK(W_EN); break;
        case 2: w = PICK(W_CJK); break;
        case 3: w = (i == n - 1) ? PICK(W_EMOJI) : PICK(W_EN); break;
        case 4: w = PICK(W_OTHER); break;
        case 5: w = (i == 0) ? PICK(W_PUNCT) : PICK(W_EN); break;
        default: w = PICK(W_EN); break;
        }
        /* CJK words are joined without spaces, like real titles */
        if (i > 0 && style != 2) g_string_append_c(s, ' ');
        g_string_append(s, w);
    }
    return g_string_free(s, FALSE);
}

static int pick_style(int i)
{
    if (i < 12) return i % 6; /* every style appears in small samples */
    uint32_t r = rndu(100);
    if (r < 50) return 0;
    if (r < 65) return 1;
    if (r < 77) return 2;
    if (r < 85) return 3;
    if (r < 93) return 4;
    return 5;
}

static char *rand_letters(int n)
{
    char *s = g_malloc(n + 1);
    for (int i = 0; i < n; i++) s[i] = (char)('A' + rndu(26));
    s[n] = 0;
    return s;
}

/* --------------------------------------------------------------- files */

static void mkdir_p(const char *path)
{
    if (g_mkdir_with_parents(path, 0755) != 0) {
        fprintf(stderr, "mkdir %s: %s\n", path, strerror(errno));
        exit(1);
    }
}

static void write_file(const char *path, const void *data, size_t len)
{
    GError *err = NULL;
    if (!g_file_set_contents(path, data, (gssize)len, &err)) {
        fprintf(stderr, "write %s: %s\n", path, err->message);
        exit(1);
    }
}

/* SysInfo: "key: value" lines, as the iPod firmware writes them. */
static void write_sysinfo(const char *mount, const char *model)
{
    char *path = g_build_filename(mount, "iPod_Control", "Device", "SysInfo", NULL);
    char *text = g_strdup_printf(
        "BoardHwName: iPod M25\n"
        "pszSerialNumber: 8K6140TXL\n"   /* "TXL" suffix maps to A147 in libgpod */
        "ModelNumStr: %s\n"
        "FirewireGuid: 0x000A27001A2B3C4D\n"
        "HddFirmwareRev: BU014A  \n"
        "RegionCode: LL(0x0001)\n"
        "PolicyFlags: 0x00000000\n"
        "buildID: 0x06128000 (6.1.2)\n"
        "visibleBuildID: 0x01128000 (1.1.2)\n"
        "boardHwRev: 0x00000000 (0.0 0)\n"
        "boardHwSwInterfaceRev: 0x000B0005 (11.5 0)\n"
        "bootLoaderImageRev: 0x00000000 (0.0 0)\n",
        model);
    write_file(path, text, strlen(text));
    g_free(text);
    g_free(path);
}

/* --------------------------------------------------------------- main */

#define MAC_UNIX_BASE 1136073600 /* 2006-01-01T00:00:00Z */

static void usage(void)
{
    fprintf(stderr, "usage: ipoddb_gen MOUNTDIR NTRACKS NPLAYLISTS SEED\n");
    exit(2);
}

int main(int argc, char **argv)
{
    /* libgpod shifts dates by the host's UTC offset when the iPod has no Preferences file */
    setenv("TZ", "UTC", 1);
    tzset();
    if (argc != 5) usage();
    const char *mount = argv[1];
    int ntracks = atoi(argv[2]);
    int nplaylists = atoi(argv[3]);
    uint64_t seed = strtoull(argv[4], NULL, 10);
    if (ntracks < 0 || nplaylists < 0) usage();
    GDir *existing = g_dir_open(mount, 0, NULL);
    if (existing) {
        int empty = g_dir_read_name(existing) == NULL;
        g_dir_close(existing);
        if (!empty) { fprintf(stderr, "%s exists and is not empty\n", mount); return 1; }
    }
    rng_state = seed;
    g_random_set_seed((guint32)seed); /* libgpod draws some ids (library pid, ...) from g_random */

    /* directory tree */
    char *p;
    p = g_build_filename(mount, "iPod_Control", "iTunes", NULL); mkdir_p(p); g_free(p);
    p = g_build_filename(mount, "iPod_Control", "Device", NULL); mkdir_p(p); g_free(p);
    p = g_build_filename(mount, "iPod_Control", "Artwork", NULL); mkdir_p(p); g_free(p);
    for (int f = 0; f < 20; f++) {
        char d[8];
        snprintf(d, sizeof d, "F%02d", f);
        p = g_build_filename(mount, "iPod_Control", "Music", d, NULL); mkdir_p(p); g_free(p);
    }
    write_sysinfo(mount, "xA147");

    Itdb_iTunesDB *itdb = itdb_new();
    itdb_set_mountpoint(itdb, mount); /* reads SysInfo */
    itdb->id = rnd64();

    Itdb_Playlist *mpl = itdb_playlist_new("Zoë’s iPod 🎧", FALSE); /* the device name */
    itdb_playlist_set_mpl(mpl);
    mpl->id = rnd64();
    mpl->timestamp = MAC_UNIX_BASE;
    itdb_playlist_add(itdb, mpl, -1);

    /* artist / album pools sized to the library */
    int nartists = ntracks / 12 + 5;
    char **artists = g_new0(char *, nartists);
    for (int i = 0; i < nartists; i++) {
        /* bands 0 and 1 ("The ...") always exist, for the "The Bands" smart playlist */
        if (i < (int)G_N_ELEMENTS(BANDS) && (i < 2 || chance(50))) artists[i] = g_strdup(BANDS[i]);
        else artists[i] = g_strdup_printf("%s %s", PICK(FIRST), PICK(LAST));
    }
    int nalbums = ntracks / 8 + 5;
    char **albums = g_new0(char *, nalbums);
    int *album_artist = g_new0(int, nalbums);
    int *album_year = g_new0(int, nalbums);
    int *album_genre = g_new0(int, nalbums);
    for (int i = 0; i < nalbums; i++) {
        albums[i] = make_phrase(pick_style(i + 1), 1, 3);
        album_artist[i] = (int)rndu((uint32_t)nartists);
        album_year[i] = chance(8) ? 0 : 1960 + (int)rndu(65);
        album_genre[i] = (int)rndu(G_N_ELEMENTS(GENRES));
    }
    int *album_next_nr = g_new0(int, nalbums);

    Itdb_Track **tracks = g_new0(Itdb_Track *, ntracks > 0 ? ntracks : 1);
    GList *podcasts = NULL;
    int big_video_done = 0;
    for (int i = 0; i < ntracks; i++) {
        Itdb_Track *t = itdb_track_new();
        int kind; /* 0 audio, 1 podcast, 2 video */
        if (i == 2 || i == 9) kind = 1;
        else if (i == 5 || i == 13) kind = 2;
        else {
            uint32_t r = rndu(100);
            kind = r < 6 ? 1 : (r < 9 ? 2 : 0);
        }
        int style = pick_style(i);
        t->title = make_phrase(style, 1, 4);
        const char *ext;
        if (kind == 1) {
            int show = (int)rndu(G_N_ELEMENTS(SHOWS));
            t->album = g_strdup(SHOWS[show]);
            t->artist = g_strdup_printf("%s %s", PICK(FIRST), PICK(LAST));
            t->genre = g_strdup("Podcast");
            t->category = g_strdup(CATEGORIES[show]);
            t->description = g_strdup_printf(
                "Episode %u of %s. Topics: %s, %s & %s — résumé, 要約, 🎧.",
                rndu(300) + 1, SHOWS[show], PICK(W_EN), PICK(W_ACC), PICK(W_CJK));
            char *slug = g_strdup_printf("show%d", show);
            /* libgpod: podcasturl = enclosure (mhod 15), podcastrss = feed (mhod 16) */
            t->podcasturl = g_strdup_printf("http://podcasts.example.com/%s/ep%03u.mp3",
                                            slug, rndu(1000));
            t->podcastrss = g_strdup_printf("http://feeds.example.com/%s.xml", slug);
            g_free(slug);
            t->filetype = g_strdup("MPEG audio file");
            ext = "mp3";
            t->mediatype = ITDB_MEDIATYPE_PODCAST;
            t->skip_when_shuffling = 1;
            t->remember_playback_position = 1;
            t->mark_unplayed = chance(50) ? 2 : 1;
            t->flag4 = 1;
            t->bookmark_time = chance(40) ? rndu(1800000) : 0;
            t->bitrate = 64 + 32 * (int)rndu(3);
            t->samplerate = 44100;
            t->tracklen = 600000 + (gint32)rndu(3000000);
            t->time_released = MAC_UNIX_BASE + (time_t)rndu(4 * 365 * 86400);
        } else {
            int al = (int)rndu((uint32_t)nalbums);
            t->album = chance(5) ? NULL : g_strdup(albums[al]);
            t->artist = g_strdup(artists[chance(10) ? (int)rndu((uint32_t)nartists)
                                                    : album_artist[al]]);
            t->genre = chance(5) ? NULL : g_strdup(GENRES[album_genre[al]]);
            t->year = album_year[al];
            t->track_nr = ++album_next_nr[al];
            t->tracks = t->track_nr + (int)rndu(8);
            if (chance(20)) { t->cds = 1 + (int)rndu(3); t->cd_nr = 1 + (int)rndu((uint32_t)t->cds); }
            if (chance(60)) t->composer = g_strdup_printf("%s %s", PICK(FIRST), PICK(LAST));
            t->compilation = chance(10);
            t->BPM = chance(30) ? (gint16)(60 + rndu(120)) : 0;
            if (kind == 2) {
                int qt = chance(25);
                t->filetype = g_strdup(qt ? "QuickTime movie file" : "MPEG-4 video file");
                ext = qt ? "mov" : "m4v";
                t->mediatype = chance(50) ? ITDB_MEDIATYPE_MOVIE : ITDB_MEDIATYPE_MUSICVIDEO;
                t->movie_flag = 1;
                t->bitrate = 1500;
                t->samplerate = chance(50) ? 48000 : 44100;
                t->tracklen = 180000 + (gint32)rndu(6000000);
            } else {
                uint32_t r = rndu(100);
                if (r < 70) { t->filetype = g_strdup("MPEG audio file"); ext = "mp3"; }
                else if (r < 95) { t->filetype = g_strdup("AAC audio file"); ext = "m4a"; }
                else { t->filetype = g_strdup("Apple Lossless audio file"); ext = "m4a"; }
                static const int rates[] = {128, 160, 192, 256, 320};
                t->bitrate = chance(15) ? 100 + (int)rndu(220) : rates[rndu(5)];
                t->samplerate = 44100;
                t->tracklen = 30000 + (gint32)rndu(510000);
                t->mediatype = ITDB_MEDIATYPE_AUDIO;
            }
        }
        if (chance(30)) {
            if (chance(50)) t->comment = g_strdup_printf("Ripped from CD #%u", rndu(99) + 1);
            else t->comment = g_strdup_printf("Live at %s — take %u", PICK(W_ACC), rndu(9) + 1);
        }
        int folder = (int)rndu(20);
        char *letters = rand_letters(4);
        t->ipod_path = g_strdup_printf(":iPod_Control:Music:F%02d:%s.%s", folder, letters, ext);
        g_free(letters);
        t->size = (guint32)((guint64)t->bitrate * 1000 / 8 * (guint64)t->tracklen / 1000) + 4096 + rndu(4096);
        if (kind == 2 && !big_video_done && ntracks >= 100) {
            t->size = 2500000000u; /* >= 2^31: signed 32-bit readers see a negative size */
            big_video_done = 1;
        }
        t->playcount = chance(40) ? 0 : rndu(200);
        t->rating = 20 * rndu(6);                     /* 0..100, stars * 20 */
        t->volume = chance(10) ? (gint32)rndu(201) - 100 : 0;
        t->checked = chance(5);                       /* 0 = checked in libgpod */
        t->time_added = MAC_UNIX_BASE + (time_t)rndu(4 * 365 * 86400);
        t->time_modified = t->time_added + (time_t)rndu(86400 * 30);
        t->time_played = t->playcount ? t->time_added + (time_t)rndu(86400 * 300) : 0;
        t->dbid = rnd64() | 1;
        t->dbid2 = t->dbid;
        t->transferred = TRUE;
        /* fixed edge cases (when the library is big enough) */
        if (i == 0) t->tracklen = 1999;               /* reader: length 1 s */
        if (i == 1) {                                 /* minimal record */
            g_free(t->album); t->album = NULL;
            g_free(t->genre); t->genre = NULL;
            g_free(t->composer); t->composer = NULL;
            g_free(t->comment); t->comment = NULL;
            t->year = 0; t->playcount = 0; t->time_played = 0; t->rating = 0;
        }
        if (i == 3) { t->rating = 100; t->compilation = 1; t->BPM = 128; t->volume = -50; }
        if (i == 4) { t->starttime = 5000; t->stoptime = 25000; }
        itdb_track_add(itdb, t, -1);
        itdb_playlist_add_track(mpl, t, -1);
        tracks[i] = t;
        if (kind == 1) podcasts = g_list_append(podcasts, t);
    }

    /* playlists */
    int made = 0;
    if (made < nplaylists) {
        Itdb_Playlist *pl = itdb_playlist_new("Podcasts", FALSE);
        itdb_playlist_set_podcasts(pl);
        pl->id = rnd64();
        pl->timestamp = MAC_UNIX_BASE;
        itdb_playlist_add(itdb, pl, -1);
        for (GList *g = podcasts; g; g = g->next) itdb_playlist_add_track(pl, g->data, -1);
        made++;
    }
    if (made < nplaylists) {
        Itdb_Playlist *pl = itdb_playlist_new("Purchased Music", FALSE);
        pl->id = rnd64();
        pl->timestamp = MAC_UNIX_BASE;
        itdb_playlist_add(itdb, pl, -1);
        for (int i = 0; i < ntracks; i++)
            if (chance(7) && tracks[i]->mediatype == ITDB_MEDIATYPE_AUDIO)
                itdb_playlist_add_track(pl, tracks[i], -1);
        made++;
    }
    int remaining = nplaylists - made;
    int nsmart = remaining > 0 ? (remaining + 3) / 4 : 0;
    for (int k = 0; k < nsmart; k++, made++) {
        static const char *snames[] = {"Top Rated ★", "The Bands", "90s Music", "Most Played 25"};
        char *name = k < 4 ? g_strdup(snames[k]) : g_strdup_printf("%s %d", snames[k % 4], k / 4 + 1);
        Itdb_Playlist *pl = itdb_playlist_new(name, TRUE);
        g_free(name);
        pl->id = rnd64();
        pl->timestamp = MAC_UNIX_BASE;
        pl->splpref.liveupdate = TRUE;
        pl->splpref.checkrules = TRUE;
        pl->splpref.checklimits = FALSE;
        pl->splrules.match_operator = ITDB_SPLMATCH_AND;
        itdb_playlist_add(itdb, pl, -1);
        /* itdb_playlist_new(.., TRUE) already holds one default rule; reuse it */
        Itdb_SPLRule *r = pl->splrules.rules->data;
        switch (k % 4) {
        case 0:
            r->field = ITDB_SPLFIELD_RATING;
            r->action = ITDB_SPLACTION_IS_GREATER_THAN;
            r->fromvalue = 60; r->tovalue = 60; r->fromunits = 1; r->tounits = 1;
            break;
        case 1: /* (a genre rule would hit tracks without genre: GLib criticals) */
            r->field = ITDB_SPLFIELD_ARTIST;
            r->action = ITDB_SPLACTION_STARTS_WITH;
            g_free(r->string);
            r->string = g_strdup("The ");
            break;
        case 2:
            r->field = ITDB_SPLFIELD_YEAR;
            r->action = ITDB_SPLACTION_IS_IN_THE_RANGE;
            r->fromvalue = 1990; r->tovalue = 1999; r->fromunits = 1; r->tounits = 1;
            break;
        default:
            r->field = ITDB_SPLFIELD_PLAYCOUNT;
            r->action = ITDB_SPLACTION_IS_GREATER_THAN;
            r->fromvalue = 0; r->tovalue = 0; r->fromunits = 1; r->tounits = 1;
            pl->splpref.checklimits = TRUE;
            pl->splpref.limittype = ITDB_LIMITTYPE_SONGS;
            pl->splpref.limitsort = ITDB_LIMITSORT_MOST_OFTEN_PLAYED;
            pl->splpref.limitvalue = 25;
            break;
        }
        itdb_splr_validate(r);
        itdb_spl_update(pl);
    }
    int nplain = nplaylists - made;
    for (int k = 0; k < nplain; k++, made++) {
        char *name = k < (int)G_N_ELEMENTS(PL_NAMES) ? g_strdup(PL_NAMES[k])
                                                     : g_strdup_printf("Playlist #%d", k + 1);
        Itdb_Playlist *pl = itdb_playlist_new(name, FALSE);
        g_free(name);
        pl->id = rnd64();
        pl->timestamp = MAC_UNIX_BASE;
        itdb_playlist_add(itdb, pl, -1);
        if (k == 1 && nplain >= 3) continue; /* one empty playlist */
        int want = ntracks < 5 ? ntracks : 3 + (int)rndu((uint32_t)MIN(ntracks, 300));
        /* random distinct members in random order */
        int *idx = g_new(int, ntracks > 0 ? ntracks : 1);
        for (int i = 0; i < ntracks; i++) idx[i] = i;
        for (int i = 0; i < want; i++) {
            int j = i + (int)rndu((uint32_t)(ntracks - i));
            int tmp = idx[i]; idx[i] = idx[j]; idx[j] = tmp;
            itdb_playlist_add_track(pl, tracks[idx[i]], -1);
        }
        g_free(idx);
    }

    GError *err = NULL;
    if (!itdb_write(itdb, &err)) {
        fprintf(stderr, "itdb_write: %s\n", err ? err->message : "?");
        return 1;
    }
    fprintf(stderr, "wrote %d tracks (%d podcasts), %d playlists\n", ntracks, g_list_length(podcasts), made);
    g_list_free(podcasts);
    itdb_free(itdb);
    for (int i = 0; i < nartists; i++) g_free(artists[i]);
    for (int i = 0; i < nalbums; i++) g_free(albums[i]);
    g_free(artists); g_free(albums); g_free(album_artist); g_free(album_year);
    g_free(album_genre); g_free(album_next_nr); g_free(tracks);
    return 0;
}
