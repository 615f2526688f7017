#include "zvx_util_map.h"

#include <cstdint>
#include <cstring>

#include "zvx_mem.h"

namespace {
constexpr size_t initial_capacity = 64;

zvx_map_pair *tombstone()
{
    return reinterpret_cast<zvx_map_pair *>(~uintptr_t{0});
}

bool is_live(const zvx_map_pair *pair)
{
    return pair != nullptr && pair != tombstone();
}

zvx_map_pair **allocate_table(size_t capacity)
{
    // NOLINTNEXTLINE(bugprone-sizeof-expression): the table holds pointers
    return static_cast<zvx_map_pair **>(zvx_mem_calloc(capacity, sizeof(zvx_map_pair *)));
}

// A map without a table (construct failed, or destructed) has capacity 0 and holds nothing.
bool has_table(const zvx_map *map)
{
    return map->hashmap != nullptr;
}

void drop_table(zvx_map *map)
{
    zvx_mem_free(map->hashmap);
    map->hashmap = nullptr;
    map->capacity = 0;
    map->size = 0;
    map->deleted = 0;
}

// The slot holding key, else the first tombstone on its probe path, else the empty slot that
// ended the path. The load limits guarantee an empty slot.
zvx_map_pair **zvx_map_place(zvx_map *map, zvx_map_constpointer key)
{
    size_t index = map->hash(key) % map->capacity;
    size_t first_tombstone = map->capacity;
    while (map->hashmap[index] != nullptr) {
        zvx_map_pair *pair = map->hashmap[index];
        if (pair == tombstone()) {
            if (first_tombstone == map->capacity)
                first_tombstone = index;
        } else if (map->equal(pair->key, key)) {
            return &map->hashmap[index];
        }
        index = (index + 1) % map->capacity;
    }
    return &map->hashmap[first_tombstone != map->capacity ? first_tombstone : index];
}

// Rebuilds the table without tombstones, doubling it when grow is set. On allocation failure
// the map stays exactly as it was.
bool zvx_map_rehash(zvx_map *map, bool grow)
{
    zvx_map_pair **old_table = map->hashmap;
    const size_t old_capacity = map->capacity;
    const size_t new_capacity = grow ? old_capacity * 2 : old_capacity;
    zvx_map_pair **new_table = allocate_table(new_capacity);
    if (new_table == nullptr)
        return false;
    map->hashmap = new_table;
    map->capacity = new_capacity;
    map->deleted = 0;
    for (size_t i = 0; i < old_capacity; ++i) {
        if (is_live(old_table[i]))
            *zvx_map_place(map, old_table[i]->key) = old_table[i];
    }
    zvx_mem_free(old_table);
    return true;
}

void zvx_map_erase_pair(zvx_map *map, zvx_map_pair **slot)
{
    zvx_map_pair *pair = *slot;
    if (map->key_destruct != nullptr)
        map->key_destruct(pair->key);
    if (map->value_destruct != nullptr)
        map->value_destruct(pair->value);
    zvx_mem_free(pair);
    *slot = tombstone();
    ++map->deleted;
    --map->size;
}
} // namespace

bool zvx_map_construct(struct zvx_map *map, zvx_map_hash_fptr hash, zvx_map_equal_fptr equal,
                       zvx_map_key_destruct_fptr key_destruct, zvx_map_value_destruct_fptr value_destruct)
{
    map->size = 0;
    map->deleted = 0;
    map->hashmap = allocate_table(initial_capacity);
    map->capacity = has_table(map) ? initial_capacity : 0;
    map->hash = hash;
    map->equal = equal;
    map->key_destruct = key_destruct;
    map->value_destruct = value_destruct;
    return has_table(map);
}

void zvx_map_destruct(struct zvx_map *map)
{
    zvx_map_clear(map);
    drop_table(map);
}

void zvx_map_clear(struct zvx_map *map)
{
    for (size_t i = 0; i < map->capacity; ++i) {
        if (is_live(map->hashmap[i]))
            zvx_map_erase_pair(map, &map->hashmap[i]);
    }
}

zvx_map_pointer zvx_map_find(struct zvx_map *map, zvx_map_constpointer key)
{
    if (!has_table(map))
        return nullptr;
    zvx_map_pair *pair = *zvx_map_place(map, key);
    return is_live(pair) ? pair->value : nullptr;
}

bool zvx_map_insert(struct zvx_map *map, zvx_map_pointer key, zvx_map_pointer value)
{
    if (!has_table(map)) {
        map->hashmap = allocate_table(initial_capacity);
        if (!has_table(map))
            return false;
        map->capacity = initial_capacity;
    }
    zvx_map_pair **slot = zvx_map_place(map, key);
    if (is_live(*slot)) {
        if (map->value_destruct != nullptr)
            map->value_destruct((*slot)->value);
        if (map->key_destruct != nullptr)
            map->key_destruct((*slot)->key);
    } else {
        // Allocate before touching the slot: emptying a tombstone would cut probe paths.
        auto *pair = static_cast<zvx_map_pair *>(zvx_mem_malloc(sizeof(zvx_map_pair)));
        if (pair == nullptr)
            return false;
        if (*slot == tombstone())
            --map->deleted;
        *slot = pair;
        ++map->size;
    }
    (*slot)->key = key;
    (*slot)->value = value;

    if (map->size * 3 > map->capacity * 2)
        zvx_map_rehash(map, true);
    else if ((map->size + map->deleted) * 4 > map->capacity * 3)
        zvx_map_rehash(map, false);
    return true;
}

void zvx_map_erase(struct zvx_map *map, zvx_map_constpointer key)
{
    if (!has_table(map))
        return;
    zvx_map_pair **slot = zvx_map_place(map, key);
    if (is_live(*slot))
        zvx_map_erase_pair(map, slot);
}

size_t zvx_map_size(struct zvx_map *map)
{
    return map->size;
}

zvx_map_pointer zvx_map_next(struct zvx_map *map, unsigned int *start_pos)
{
    for (size_t i = *start_pos; i < map->capacity; ++i) {
        if (is_live(map->hashmap[i])) {
            *start_pos = static_cast<unsigned int>(i + 1);
            return map->hashmap[i]->value;
        }
    }
    return nullptr;
}

void zvx_map_foreach(struct zvx_map *map, zvx_map_foreach_fptr fn, void *user_arg)
{
    for (size_t i = 0; i < map->capacity; ++i) {
        zvx_map_pair *pair = map->hashmap[i];
        if (is_live(pair) && !fn(pair->key, pair->value, user_arg))
            return;
    }
}

void zvx_map_foreach_erase(struct zvx_map *map, zvx_map_foreach_erase_fptr fn, void *user_arg)
{
    for (size_t i = 0; i < map->capacity; ++i) {
        zvx_map_pair *pair = map->hashmap[i];
        if (is_live(pair) && fn(pair->key, pair->value, user_arg))
            zvx_map_erase_pair(map, &map->hashmap[i]);
    }
}

size_t zvx_map_str_hash(zvx_map_constpointer key)
{
    uint64_t hash = 5381;
    for (const auto *c = static_cast<const unsigned char *>(key); *c != '\0'; ++c)
        hash = hash * 33 + *c;
    return hash;
}

bool zvx_map_str_equal(zvx_map_constpointer key, zvx_map_constpointer other)
{
    return strcmp(static_cast<const char *>(key), static_cast<const char *>(other)) == 0;
}

size_t zvx_map_int_hash(zvx_map_constpointer key)
{
    auto a = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(key));
    a = (a + 0x7ed55d16) + (a << 12);
    a = (a ^ 0xc761c23c) ^ (a >> 19);
    a = (a + 0x165667b1) + (a << 5);
    a = (a + 0xd3a2646c) ^ (a << 9);
    a = (a + 0xfd7046c5) + (a << 3);
    a = (a ^ 0xb55a4f09) ^ (a >> 16);
    return a;
}

bool zvx_map_int_equal(zvx_map_constpointer key, zvx_map_constpointer other)
{
    return key == other;
}
