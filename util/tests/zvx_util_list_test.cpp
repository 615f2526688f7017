#include <vector>

#include <gtest/gtest.h>

#include "zvx_util_circular_list.h"
#include "zvx_util_list.h"

ZVX_LIST_DECLARE(intptr, int *)

namespace {
int values[6];

std::vector<int *> contents(const zvx_list_intptr &list)
{
    std::vector<int *> out;
    for (zvx_list_iterator_intptr it = list.node.next; it != &list.node; it = it->next)
        out.push_back(it->data);
    return out;
}

class TypedList : public ::testing::Test {
protected:
    void SetUp() override
    {
        zvx_list_construct_intptr(&list);
        for (int i = 0; i < 4; ++i)
            zvx_list_push_back_value_intptr(&list, &values[i]);
    }
    void TearDown() override { zvx_list_destruct_intptr(&list); }
    zvx_list_intptr list;
};
} // namespace

TEST_F(TypedList, EraseReturnsSuccessorAndReraseReturnsPredecessor)
{
    zvx_list_iterator_intptr second = list.node.next->next;
    zvx_list_iterator_intptr after = zvx_list_erase_intptr(&list, second);
    EXPECT_EQ(after->data, &values[2]);
    EXPECT_EQ(zvx_list_rerase_intptr(&list, after)->data, &values[0]);
    EXPECT_EQ(zvx_list_erase_intptr(&list, list.node.prev), &list.node);
    EXPECT_EQ(zvx_list_rerase_intptr(&list, list.node.next), &list.node);
    EXPECT_EQ(zvx_list_size_intptr(&list), 0u);
    EXPECT_EQ(list.node.next, &list.node);
    EXPECT_EQ(list.node.prev, &list.node);
}

TEST_F(TypedList, InsertsAnywhereAndRemoveValueErasesEveryCopy)
{
    zvx_list_push_front_value_intptr(&list, &values[2]);
    zvx_list_insert_before_value_intptr(&list, list.node.prev, &values[2]);
    EXPECT_EQ(contents(list),
              (std::vector<int *>{&values[2], &values[0], &values[1], &values[2], &values[2], &values[3]}));
    zvx_list_remove_value_intptr(&list, &values[2]);
    EXPECT_EQ(contents(list), (std::vector<int *>{&values[0], &values[1], &values[3]}));
}

TEST_F(TypedList, SpliceMovesAHalfOpenRangeBetweenLists)
{
    zvx_list_intptr other;
    zvx_list_construct_intptr(&other);
    zvx_list_push_back_value_intptr(&other, &values[4]);

    zvx_list_iterator_intptr first = list.node.next->next;
    zvx_list_splice_range_intptr(&other, &other.node, &list, first, first);
    EXPECT_EQ(zvx_list_size_intptr(&list), 4u);
    EXPECT_EQ(zvx_list_size_intptr(&other), 1u);

    zvx_list_splice_range_intptr(&other, other.node.next, &list, first, list.node.prev);
    EXPECT_EQ(contents(list), (std::vector<int *>{&values[0], &values[3]}));
    EXPECT_EQ(contents(other), (std::vector<int *>{&values[1], &values[2], &values[4]}));

    zvx_list_splice_range_intptr(&list, &list.node, &other, other.node.next, &other.node);
    EXPECT_EQ(contents(list), (std::vector<int *>{&values[0], &values[3], &values[1], &values[2], &values[4]}));
    EXPECT_EQ(zvx_list_size_intptr(&other), 0u);
    EXPECT_EQ(other.node.prev, &other.node);
    zvx_list_destruct_intptr(&other);
}

TEST(CircularList, KeepsSizeMinusOneNewestAcrossWrapsSoSizeOneDropsEveryValue)
{
    zvxu_circular_list *list = zvxu_circular_list_create(1);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(zvxu_circular_list_enqueue(list, 7), 1);
    EXPECT_EQ(zvxu_circular_list_is_empty(list), 1);
    EXPECT_EQ(zvxu_circular_list_dequeue(list), 0);
    zvxu_circular_list_destroy(list);

    list = zvxu_circular_list_create(4);
    ASSERT_NE(list, nullptr);
    for (intptr_t v = 1; v <= 3; ++v)
        EXPECT_EQ(zvxu_circular_list_enqueue(list, v), 0);
    for (intptr_t v = 4; v <= 9; ++v) {
        EXPECT_EQ(zvxu_circular_list_enqueue(list, v), 1);
        EXPECT_EQ(zvxu_circular_list_get_num_elements(list), 3);
    }
    EXPECT_EQ(zvxu_circular_list_peek(list, 0), 9);
    EXPECT_EQ(zvxu_circular_list_peek(list, 2), 7);
    for (intptr_t v = 7; v <= 9; ++v)
        EXPECT_EQ(zvxu_circular_list_dequeue(list), v);
    EXPECT_EQ(zvxu_circular_list_is_empty(list), 1);
    EXPECT_EQ(zvxu_circular_list_dequeue(list), 0);
    zvxu_circular_list_destroy(list);
}
