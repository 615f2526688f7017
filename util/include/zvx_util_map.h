#ifndef ZVX_UTIL_MAP_H
#define ZVX_UTIL_MAP_H

#include <cstddef>

// Open-addressing hash map from opaque keys to opaque values, linear probing with tombstones.
// Not thread-safe. The map owns its pairs and hands keys and values to the destructors (either
// may be null) when it drops them.
typedef void *zvx_map_pointer;
typedef const void *zvx_map_constpointer;

typedef size_t (*zvx_map_hash_fptr)(zvx_map_constpointer key);
typedef bool (*zvx_map_equal_fptr)(zvx_map_constpointer key, zvx_map_constpointer other);
typedef void (*zvx_map_key_destruct_fptr)(zvx_map_pointer key);
typedef void (*zvx_map_value_destruct_fptr)(zvx_map_pointer value);
// foreach stops when the callback returns false; foreach_erase erases the pairs it returns true for.
typedef bool (*zvx_map_foreach_fptr)(zvx_map_constpointer key, zvx_map_pointer value, void *user_arg);
typedef bool (*zvx_map_foreach_erase_fptr)(zvx_map_constpointer key, zvx_map_pointer value, void *user_arg);

struct zvx_map_pair {
    zvx_map_pointer key;
    zvx_map_pointer value;
};

struct zvx_map {
    size_t size;     // live pairs
    size_t deleted;  // tombstones
    size_t capacity; // slots; starts at 64, doubles, never shrinks; 0 without a table
    struct zvx_map_pair **hashmap;
    zvx_map_hash_fptr hash;
    zvx_map_equal_fptr equal;
    zvx_map_key_destruct_fptr key_destruct;
    zvx_map_value_destruct_fptr value_destruct;
};

// False when the table cannot be allocated; the map is then empty, with capacity 0, and every
// operation accepts it (insert tries to allocate the table again). Destruct leaves the same state.
bool zvx_map_construct(struct zvx_map *map, zvx_map_hash_fptr hash, zvx_map_equal_fptr equal,
                       zvx_map_key_destruct_fptr key_destruct, zvx_map_value_destruct_fptr value_destruct);
void zvx_map_destruct(struct zvx_map *map);
void zvx_map_clear(struct zvx_map *map);
zvx_map_pointer zvx_map_find(struct zvx_map *map, zvx_map_constpointer key);
// Replaces the value of an existing key (old value destructed first, then old key).
// False only when a new pair cannot be allocated.
bool zvx_map_insert(struct zvx_map *map, zvx_map_pointer key, zvx_map_pointer value);
void zvx_map_erase(struct zvx_map *map, zvx_map_constpointer key);
size_t zvx_map_size(struct zvx_map *map);
// Walks the values in slot order: start *start_pos at 0; null at the end.
zvx_map_pointer zvx_map_next(struct zvx_map *map, unsigned int *start_pos);
void zvx_map_foreach(struct zvx_map *map, zvx_map_foreach_fptr fn, void *user_arg);
void zvx_map_foreach_erase(struct zvx_map *map, zvx_map_foreach_erase_fptr fn, void *user_arg);

// NUL-terminated string keys.
size_t zvx_map_str_hash(zvx_map_constpointer key);
bool zvx_map_str_equal(zvx_map_constpointer key, zvx_map_constpointer other);
// Integer keys carried in the pointer itself.
size_t zvx_map_int_hash(zvx_map_constpointer key);
bool zvx_map_int_equal(zvx_map_constpointer key, zvx_map_constpointer other);

#endif
