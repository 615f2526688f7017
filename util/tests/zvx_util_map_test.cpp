#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zvx_mem_faults.h"
#include "zvx_util_map.h"

namespace {
std::vector<std::string> destructed;

void *key(uintptr_t k)
{
    return reinterpret_cast<void *>(k);
}
uintptr_t number(zvx_map_constpointer p)
{
    return reinterpret_cast<uintptr_t>(p);
}
size_t identity_hash(zvx_map_constpointer k)
{
    return number(k);
}
void record_key(zvx_map_pointer k)
{
    destructed.push_back("key " + std::to_string(number(k)));
}
void record_value(zvx_map_pointer v)
{
    destructed.push_back("value " + std::to_string(number(v)));
}

class Map : public ::testing::Test {
protected:
    void SetUp() override { destructed.clear(); }
    void TearDown() override { zvx_map_destruct(&map); }
    void construct(zvx_map_hash_fptr hash)
    {
        ASSERT_TRUE(zvx_map_construct(&map, hash, zvx_map_int_equal, record_key, record_value));
    }
    zvx_map map{};
};
} // namespace

TEST_F(Map, GrowsWhenTheFortyThirdPairArrivesAndKeepsEveryPair)
{
    construct(zvx_map_int_hash);
    for (uintptr_t k = 1; k <= 42; ++k)
        ASSERT_TRUE(zvx_map_insert(&map, key(k), key(k * 10)));
    EXPECT_EQ(map.capacity, 64u);
    ASSERT_TRUE(zvx_map_insert(&map, key(43), key(430)));
    EXPECT_EQ(map.capacity, 128u);
    EXPECT_EQ(zvx_map_size(&map), 43u);
    for (uintptr_t k = 1; k <= 43; ++k)
        EXPECT_EQ(number(zvx_map_find(&map, key(k))), k * 10);
    EXPECT_EQ(zvx_map_find(&map, key(44)), nullptr);
}

TEST_F(Map, ReinsertReusesTheFirstTombstoneOnTheProbePathAndTombstonesArePurged)
{
    construct(identity_hash);
    for (uintptr_t k : {1, 65, 129})
        zvx_map_insert(&map, key(k), key(k));
    zvx_map_erase(&map, key(1));
    zvx_map_erase(&map, key(65));
    EXPECT_EQ(map.deleted, 2u);
    zvx_map_insert(&map, key(65), key(650));
    EXPECT_EQ(map.deleted, 1u);
    EXPECT_EQ(map.hashmap[1]->key, key(65));
    EXPECT_EQ(number(zvx_map_find(&map, key(129))), 129u);
    EXPECT_EQ(zvx_map_find(&map, key(1)), nullptr);

    // Tombstones are purged above three quarters, without growth.
    zvx_map_destruct(&map);
    construct(identity_hash);
    for (uintptr_t k = 1; k <= 40; ++k)
        zvx_map_insert(&map, key(k), key(k));
    for (uintptr_t k = 1; k <= 30; ++k)
        zvx_map_erase(&map, key(k));
    for (uintptr_t k = 41; k <= 48; ++k)
        zvx_map_insert(&map, key(k), key(k));
    EXPECT_EQ(map.deleted, 30u);
    zvx_map_insert(&map, key(49), key(49));
    EXPECT_EQ(map.deleted, 0u);
    EXPECT_EQ(map.capacity, 64u);
    for (uintptr_t k = 31; k <= 49; ++k)
        EXPECT_EQ(number(zvx_map_find(&map, key(k))), k);
}

TEST_F(Map, ReplaceDestructsOldValueThenOldKeyEraseTheReverseAndDestructOnce)
{
    construct(zvx_map_int_hash);
    zvx_map_insert(&map, key(7), key(70));
    zvx_map_insert(&map, key(7), key(71));
    EXPECT_EQ(zvx_map_size(&map), 1u);
    EXPECT_EQ(number(zvx_map_find(&map, key(7))), 71u);
    zvx_map_erase(&map, key(7));
    EXPECT_EQ(destructed, (std::vector<std::string>{"value 70", "key 7", "key 7", "value 71"}));
    EXPECT_EQ(zvx_map_size(&map), 0u);

    // A destructed map is empty and destructs again.
    destructed.clear();
    zvx_map_insert(&map, key(1), key(10));
    zvx_map_destruct(&map);
    zvx_map_clear(&map);
    EXPECT_EQ(zvx_map_find(&map, key(1)), nullptr);
    zvx_map_erase(&map, key(1));
    EXPECT_EQ(zvx_map_size(&map), 0u);
    zvx_map_destruct(&map);
    EXPECT_EQ(destructed, (std::vector<std::string>{"key 1", "value 10"}));
}

TEST_F(Map, ClearLeavesTombstonesIterationSkipsThemAndForeachStopsOrErasesAsAsked)
{
    // Every key hashes to slot 0: a clear must reach the first slot too.
    construct(identity_hash);
    unsigned int pos = 0;
    for (uintptr_t k = 1; k <= 5; ++k)
        zvx_map_insert(&map, key(k * 64), key(k));

    uintptr_t sum = 0;
    for (pos = 0; void *v = zvx_map_next(&map, &pos);)
        sum += number(v);
    EXPECT_EQ(sum, 15u);

    zvx_map_clear(&map);
    EXPECT_EQ(zvx_map_size(&map), 0u);
    EXPECT_EQ(map.deleted, 5u);
    EXPECT_EQ(map.capacity, 64u);
    EXPECT_EQ(destructed.size(), 10u);
    pos = 0;
    EXPECT_EQ(zvx_map_next(&map, &pos), nullptr);

    // Foreach stops on false; foreach_erase erases on true.
    zvx_map_destruct(&map);
    construct(identity_hash);
    for (uintptr_t k = 1; k <= 6; ++k)
        zvx_map_insert(&map, key(k), key(k));
    std::vector<uintptr_t> seen;
    zvx_map_foreach(
        &map,
        [](zvx_map_constpointer k, zvx_map_pointer, void *arg) {
            static_cast<std::vector<uintptr_t> *>(arg)->push_back(number(k));
            return number(k) < 3;
        },
        &seen);
    EXPECT_EQ(seen, (std::vector<uintptr_t>{1, 2, 3}));

    zvx_map_foreach_erase(
        &map, [](zvx_map_constpointer k, zvx_map_pointer, void *) { return number(k) % 2 == 0; }, nullptr);
    EXPECT_EQ(zvx_map_size(&map), 3u);
    EXPECT_EQ(zvx_map_find(&map, key(4)), nullptr);
    EXPECT_EQ(number(zvx_map_find(&map, key(5))), 5u);
}

// Known values pin the constants: a changed step, multiplier or seed changes every hash.
TEST(MapHash, IntegerHashIsJenkinsOverSixtyFourBitsAndStringHashDjb2)
{
    EXPECT_EQ(zvx_map_int_hash(key(0)), 0x1b0c4db8bd927u);
    EXPECT_EQ(zvx_map_int_hash(key(1)), 0x1b0c7044081b6u);
    EXPECT_EQ(zvx_map_int_hash(key(0x12345678)), 0x2a4a54ff0796167u);
    EXPECT_EQ(zvx_map_int_hash(key(0xdeadbeefcafe)), 0x78491ba62fa56739u);
    // "\xff" must read as an unsigned byte; the long text must wrap.
    EXPECT_EQ(zvx_map_str_hash(""), 5381u);
    EXPECT_EQ(zvx_map_str_hash("a"), 0x2b606u);
    EXPECT_EQ(zvx_map_str_hash("omx_if"), 0x65312c38107u);
    EXPECT_EQ(zvx_map_str_hash("xxxxxxxxxxxxxxxxxxxx"), 0x41b36467d5be24e5u);
    EXPECT_EQ(zvx_map_str_hash("\xff"), 0x2b6a4u);
}

TEST_F(Map, FailedConstructLeavesAnEmptyMapThatInsertCanRevive)
{
    if (!zvx_mem_faults_arm(0, 0))
        GTEST_SKIP() << "allocation failures are injected only in the fault-injection build";
    const bool constructed = zvx_map_construct(&map, zvx_map_int_hash, zvx_map_int_equal, record_key, record_value);
    zvx_mem_faults_disarm();
    ASSERT_FALSE(constructed);
    EXPECT_EQ(map.capacity, 0u);
    EXPECT_EQ(zvx_map_find(&map, key(3)), nullptr);
    unsigned int pos = 0;
    EXPECT_EQ(zvx_map_next(&map, &pos), nullptr);
    zvx_map_clear(&map);
    zvx_map_erase(&map, key(3));
    ASSERT_TRUE(zvx_map_insert(&map, key(3), key(30)));
    EXPECT_EQ(number(zvx_map_find(&map, key(3))), 30u);
    EXPECT_EQ(map.capacity, 64u);
}

TEST_F(Map, InsertThatCannotAllocateItsPairChangesNothing)
{
    construct(identity_hash);
    zvx_map_insert(&map, key(1), key(1));
    zvx_map_erase(&map, key(1));
    if (!zvx_mem_faults_arm(0, 0))
        GTEST_SKIP() << "allocation failures are injected only in the fault-injection build";
    const bool inserted = zvx_map_insert(&map, key(65), key(65));
    zvx_mem_faults_disarm();
    EXPECT_FALSE(inserted);
    EXPECT_EQ(map.deleted, 1u) << "the tombstone on the probe path stays";
    EXPECT_EQ(zvx_map_size(&map), 0u);
    EXPECT_EQ(zvx_map_find(&map, key(65)), nullptr);
}
