// SPDX-License-Identifier: Apache-2.0
/* What a training does, in plain C: the same statements in the same transactions, and as little as possible between
   them.

     plain_training DATABASE INSTALLED-BUNDLES TOP-N TIME

   INSTALLED-BUNDLES is a file of names, one a line. Publishes the stored set as the plugin does at its start, then
   trains once. For each of both prints a line: milliseconds of the clock and of the processor, and how many bytes the
   memory rose. Exit codes: 0 done, 1 failed. */

#include <pthread.h>
#include <sqlite3.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "benchmarks/cost/cost_meter.h"
#include "benchmarks/cost/training_sql.h"

/* Texts that live as long as one another, in blocks: none is moved, and all go at once. */
enum { TEXT_BLOCK_BYTES = 64 * 1024 };
struct TextBlock {
    struct TextBlock* next;
    size_t used;
    char bytes[TEXT_BLOCK_BYTES];
};
struct Texts {
    struct TextBlock* first;
};

struct TempScene {
    const char* name;
    int32_t launchedCount;
};

struct TopScene {
    double decayedCount;
    int64_t id;
    const char* name; /* "bundle/scene". */
    int32_t launchedCount;
    uint16_t bundleLength;
    uint8_t isTop;
};

struct TopScenes {
    struct Texts texts;
    struct TopScene* scenes;
    size_t count;
};

struct Installed {
    char** names; /* Sorted. */
    size_t count;
};

struct Learning {
    sqlite3* db;
    struct Installed installed;
    size_t topN;
    int32_t trainTimes;
    int64_t lastTrainTime;
};

struct Set {
    const char** names;
    size_t count;
};

static void Fail(const char* what) {
    fprintf(stderr, "plain_training: %s\n", what);
    exit(EXIT_FAILURE);
}

static void* Checked(void* memory) {
    if (memory == NULL) {
        Fail("out of memory");
    }
    return memory;
}

static void Check(sqlite3* db, int result, int wanted) {
    if (result != wanted) {
        Fail(sqlite3_errmsg(db));
    }
}

static char* RoomForText(struct Texts* texts, size_t bytes) {
    struct TextBlock* block = texts->first;
    if (bytes > TEXT_BLOCK_BYTES) {
        Fail("a name is too long");
    }
    if (block == NULL || TEXT_BLOCK_BYTES - block->used < bytes) {
        block = Checked(malloc(sizeof(*block)));
        block->next = texts->first;
        block->used = 0;
        texts->first = block;
    }
    block->used += bytes;
    return block->bytes + block->used - bytes;
}

static void FreeTexts(struct Texts* texts) {
    while (texts->first != NULL) {
        struct TextBlock* next = texts->first->next;
        free(texts->first);
        texts->first = next;
    }
}

/* An array with room for one element more; it doubles. */
static void* WithRoom(void* array, size_t count, size_t elementBytes) {
    if ((count & (count - 1)) != 0) {
        return array;
    }
    return Checked(realloc(array, (count == 0 ? 1 : 2 * count) * elementBytes));
}

static sqlite3_stmt* Prepare(sqlite3* db, const char* sql) {
    sqlite3_stmt* statement = NULL;
    Check(db, sqlite3_prepare_v2(db, sql, -1, &statement, NULL), SQLITE_OK);
    return statement;
}

static void Execute(sqlite3* db, const char* sql) {
    Check(db, sqlite3_exec(db, sql, NULL, NULL, NULL), SQLITE_OK);
}

static void StepOnce(sqlite3* db, sqlite3_stmt* statement) {
    Check(db, sqlite3_step(statement), SQLITE_DONE);
    Check(db, sqlite3_reset(statement), SQLITE_OK);
}

static size_t ReadTempScenes(sqlite3* db, struct Texts* texts, struct TempScene** scenes) {
    sqlite3_stmt* select = Prepare(db, SELECT_TEMP_SCENES);
    size_t count = 0;
    int result = sqlite3_step(select);
    for (; result == SQLITE_ROW; result = sqlite3_step(select)) {
        const unsigned char* name = sqlite3_column_text(select, 0);
        const size_t bytes = (size_t)sqlite3_column_bytes(select, 0) + 1;
        char* const copy = RoomForText(texts, bytes);
        memcpy(copy, name, bytes);
        *scenes = WithRoom(*scenes, count, sizeof(**scenes));
        (*scenes)[count].name = copy;
        (*scenes)[count].launchedCount = sqlite3_column_int(select, 1);
        ++count;
    }
    Check(db, result, SQLITE_DONE);
    sqlite3_finalize(select);
    return count;
}

static void AddLaunches(sqlite3* db, const struct TempScene* scenes, size_t count) {
    sqlite3_stmt* decay = NULL;
    sqlite3_stmt* upsert = NULL;
    sqlite3_stmt* empty = NULL;
    Execute(db, "BEGIN;");
    decay = Prepare(db, DECAY_TOP_SCENES);
    sqlite3_bind_double(decay, 1, 0.900324);
    StepOnce(db, decay);
    sqlite3_finalize(decay);
    upsert = Prepare(db, UPSERT_TOP_SCENE);
    for (size_t i = 0; i < count; ++i) {
        const char* const slash = strchr(scenes[i].name, '/');
        if (slash == NULL) {
            continue;
        }
        sqlite3_bind_text(upsert, 1, scenes[i].name, (int)(slash - scenes[i].name), SQLITE_STATIC);
        sqlite3_bind_text(upsert, 2, slash + 1, -1, SQLITE_STATIC);
        for (int parameter = 3; parameter <= 6; ++parameter) {
            sqlite3_bind_int(upsert, parameter, scenes[i].launchedCount);
        }
        StepOnce(db, upsert);
    }
    sqlite3_finalize(upsert);
    empty = Prepare(db, DELETE_TEMP_SCENES);
    StepOnce(db, empty);
    sqlite3_finalize(empty);
    Execute(db, "COMMIT;");
}

static void ReadActiveScenes(sqlite3* db, struct TopScenes* active) {
    sqlite3_stmt* select = Prepare(db, SELECT_ACTIVE_SCENES);
    int result = SQLITE_OK;
    sqlite3_bind_int(select, 1, 0);
    result = sqlite3_step(select);
    for (; result == SQLITE_ROW; result = sqlite3_step(select)) {
        const unsigned char* bundle = sqlite3_column_text(select, 1);
        const size_t bundleBytes = (size_t)sqlite3_column_bytes(select, 1);
        const unsigned char* scene = sqlite3_column_text(select, 2);
        const size_t sceneBytes = (size_t)sqlite3_column_bytes(select, 2);
        char* const name = RoomForText(&active->texts, bundleBytes + 1 + sceneBytes + 1);
        memcpy(name, bundle, bundleBytes);
        name[bundleBytes] = '/';
        memcpy(name + bundleBytes + 1, scene, sceneBytes + 1);
        active->scenes = WithRoom(active->scenes, active->count, sizeof(*active->scenes));
        struct TopScene* const added = &active->scenes[active->count++];
        added->id = sqlite3_column_int64(select, 0);
        added->name = name;
        added->bundleLength = (uint16_t)bundleBytes;
        added->launchedCount = sqlite3_column_int(select, 3);
        added->decayedCount = sqlite3_column_double(select, 4);
        added->isTop = sqlite3_column_int(select, 5) != 0;
    }
    Check(db, result, SQLITE_DONE);
    sqlite3_finalize(select);
}

static int CompareBundle(const void* key, const void* element) {
    const struct TopScene* const scene = key;
    const char* const name = *(char* const*)element;
    const int difference = strncmp(scene->name, name, scene->bundleLength);
    return difference != 0 ? difference : -(name[scene->bundleLength] != '\0');
}

static void MarkDeletedScenes(sqlite3* db, const struct Installed* installed, struct TopScenes* active) {
    int32_t* deleted = NULL;
    size_t deletedCount = 0;
    size_t kept = 0;
    for (size_t i = 0; i < active->count; ++i) {
        const struct TopScene* const scene = &active->scenes[i];
        if (bsearch(scene, installed->names, installed->count, sizeof(*installed->names), CompareBundle) != NULL) {
            active->scenes[kept++] = *scene;
        } else {
            deleted = WithRoom(deleted, deletedCount, sizeof(*deleted));
            deleted[deletedCount++] = (int32_t)scene->id;
        }
    }
    active->count = kept;
    sqlite3_stmt* mark = Prepare(db, MARK_DELETED_SCENE);
    for (size_t i = 0; i < deletedCount; ++i) {
        sqlite3_bind_int(mark, 1, 1);
        sqlite3_bind_int(mark, 2, deleted[i]);
        StepOnce(db, mark);
    }
    sqlite3_finalize(mark);
    free(deleted);
}

static int CompareDecayedCount(const void* left, const void* right) {
    const double leftCount = ((const struct TopScene*)left)->decayedCount;
    const double rightCount = ((const struct TopScene*)right)->decayedCount;
    return (leftCount < rightCount) - (leftCount > rightCount);
}

static void Rank(struct TopScenes* active, size_t topN, struct Set* top, struct Set* decayed) {
    qsort(active->scenes, active->count, sizeof(*active->scenes), CompareDecayedCount);
    for (size_t i = 0; i < active->count; ++i) {
        struct TopScene* const scene = &active->scenes[i];
        if (top->count < topN && scene->launchedCount >= 1) {
            scene->isTop = 1;
            top->names = WithRoom(top->names, top->count, sizeof(*top->names));
            top->names[top->count++] = scene->name;
        } else if (scene->isTop) {
            scene->isTop = 0;
            decayed->names = WithRoom(decayed->names, decayed->count, sizeof(*decayed->names));
            decayed->names[decayed->count++] = scene->name;
        }
    }
}

static void StoreTopScenes(sqlite3* db, const struct TopScenes* active) {
    Execute(db, "BEGIN;");
    sqlite3_stmt* mark = Prepare(db, MARK_TOP_SCENE);
    for (size_t i = 0; i < active->count; ++i) {
        sqlite3_bind_int(mark, 1, active->scenes[i].isTop);
        sqlite3_bind_int64(mark, 2, active->scenes[i].id);
        StepOnce(db, mark);
    }
    sqlite3_finalize(mark);
    /* No scene is ever to be removed. */
    sqlite3_finalize(Prepare(db, DELETE_TOP_SCENE));
    Execute(db, "COMMIT;");
}

static void StoreHistory(const struct Learning* learning) {
    sqlite3_stmt* update = Prepare(learning->db, UPDATE_HISTORY);
    sqlite3_bind_int64(update, 1, learning->lastTrainTime);
    sqlite3_bind_int(update, 2, learning->trainTimes);
    sqlite3_bind_int(update, 3, 1);
    StepOnce(learning->db, update);
    sqlite3_finalize(update);
}

/* Nobody is there to be told the set, or what is not in it any more. */
static void RankAndStore(const struct Learning* learning, struct TopScenes* active) {
    struct Set top = {NULL, 0};
    struct Set decayed = {NULL, 0};
    Rank(active, learning->topN, &top, &decayed);
    StoreTopScenes(learning->db, active);
    free(top.names);
    free(decayed.names);
    FreeTexts(&active->texts);
    free(active->scenes);
}

static void Load(struct Learning* learning, const char* file) {
    struct TopScenes active = {{NULL}, NULL, 0};
    if (sqlite3_open(file, &learning->db) != SQLITE_OK) {
        Fail("cannot open the database");
    }
    Execute(learning->db, CREATE_TEMP_SCENES);
    Execute(learning->db, CREATE_TOP_SCENES);
    Execute(learning->db, CREATE_HISTORY);
    Execute(learning->db, SEED_HISTORY);
    sqlite3_stmt* select = Prepare(learning->db, SELECT_HISTORY);
    sqlite3_bind_int(select, 1, 1);
    Check(learning->db, sqlite3_step(select), SQLITE_ROW);
    learning->trainTimes = sqlite3_column_int(select, 1);
    Check(learning->db, sqlite3_step(select), SQLITE_DONE);
    sqlite3_finalize(select);
    ReadActiveScenes(learning->db, &active);
    RankAndStore(learning, &active);
}

static void Train(struct Learning* learning) {
    struct Texts texts = {NULL};
    struct TempScene* tempScenes = NULL;
    struct TopScenes active = {{NULL}, NULL, 0};
    const size_t tempCount = ReadTempScenes(learning->db, &texts, &tempScenes);
    AddLaunches(learning->db, tempScenes, tempCount);
    FreeTexts(&texts);
    free(tempScenes);
    ReadActiveScenes(learning->db, &active);
    MarkDeletedScenes(learning->db, &learning->installed, &active);
    RankAndStore(learning, &active);
    ++learning->trainTimes;
    StoreHistory(learning);
}

static int CompareNames(const void* left, const void* right) {
    return strcmp(*(char* const*)left, *(char* const*)right);
}

static struct Installed ReadInstalled(const char* file) {
    struct Installed installed = {NULL, 0};
    char* line = NULL;
    size_t room = 0;
    FILE* const input = fopen(file, "re");
    if (input == NULL) {
        Fail("cannot read the installed bundles");
    }
    for (ssize_t length = getline(&line, &room, input); length > 0; length = getline(&line, &room, input)) {
        line[length - 1] = '\0';
        installed.names = WithRoom(installed.names, installed.count, sizeof(*installed.names));
        installed.names[installed.count++] = Checked(strdup(line));
    }
    free(line);
    fclose(input);
    qsort(installed.names, installed.count, sizeof(*installed.names), CompareNames);
    return installed;
}

static void PrintCost(const struct Times* begin, const struct Times* end, long residentBefore) {
    printf("%.6f %.6f %ld\n", end->wallMs - begin->wallMs, end->cpuMs - begin->cpuMs, ResidentPeak() - residentBefore);
}

/* A service has other threads, and so has this program one: locks, of which SQLite takes one at nearly every call, cost
   less for as long as there is none. */
static void* Idle(void* unused) {
    pause();
    return unused;
}

int main(int argc, char** argv) {
    if (argc != 5) {
        Fail("usage: plain_training DATABASE INSTALLED-BUNDLES TOP-N TIME");
    }
    struct Learning learning = {NULL, ReadInstalled(argv[2]), strtoul(argv[3], NULL, 10), 0,
                                strtoll(argv[4], NULL, 10)};

    pthread_t idle;
    if (pthread_create(&idle, NULL, Idle, NULL) != 0) {
        Fail("no thread");
    }

    long resident = ResetResidentPeak();
    if (resident < 0) {
        Fail("the kernel does not tell the peak of the memory");
    }
    struct Times begin = TimesNow();
    Load(&learning, argv[1]);
    struct Times end = TimesNow();
    PrintCost(&begin, &end, resident);

    resident = ResetResidentPeak();
    begin = TimesNow();
    Train(&learning);
    end = TimesNow();
    PrintCost(&begin, &end, resident);
    sqlite3_close(learning.db);
    return EXIT_SUCCESS;
}
