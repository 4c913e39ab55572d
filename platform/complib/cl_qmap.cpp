// A height-balanced binary search tree (the two subtrees of an item differ by at most one level).
//
// The end of a map is an item whose left link is the root and which is the root's parent. So every
// item of the tree has a parent, replacing the root is like replacing any left child, and a walk
// that climbs out of the last item arrives at the end without knowing the map.

#include "complib/cl_qmap.h"

#include <algorithm>

namespace {

using Item = cl_map_item_t;

uint32_t height_of(const Item *item) {
    return item == nullptr ? 0 : item->height;
}

void update_height(Item *item) {
    item->height = 1 + std::max(height_of(item->left), height_of(item->right));
}

// Puts `replacement`, which may be null, where `item` hangs.
void replace_below_parent(Item *item, Item *replacement) {
    Item *parent = item->parent;
    (parent->left == item ? parent->left : parent->right) = replacement;
    if (replacement != nullptr) {
        replacement->parent = parent;
    }
}

void set_left(Item *item, Item *child) {
    item->left = child;
    if (child != nullptr) {
        child->parent = item;
    }
}

void set_right(Item *item, Item *child) {
    item->right = child;
    if (child != nullptr) {
        child->parent = item;
    }
}

// The right child rises to the item's place. Returns it.
Item *rotate_left(Item *item) {
    Item *risen = item->right;
    replace_below_parent(item, risen);
    set_right(item, risen->left);
    set_left(risen, item);
    update_height(item);
    update_height(risen);
    return risen;
}

// The left child rises to the item's place. Returns it.
Item *rotate_right(Item *item) {
    Item *risen = item->left;
    replace_below_parent(item, risen);
    set_left(item, risen->right);
    set_right(risen, item);
    update_height(item);
    update_height(risen);
    return risen;
}

// Balances the subtree of an item whose subtrees differ by at most two levels. Returns its root.
Item *balance(Item *item) {
    const uint32_t left = height_of(item->left);
    const uint32_t right = height_of(item->right);
    if (left > right + 1) {
        if (height_of(item->left->left) < height_of(item->left->right)) {
            rotate_left(item->left);
        }
        return rotate_right(item);
    }
    if (right > left + 1) {
        if (height_of(item->right->right) < height_of(item->right->left)) {
            rotate_right(item->right);
        }
        return rotate_left(item);
    }
    update_height(item);
    return item;
}

// Balances from `item` upwards. Ends early where a subtree kept its height: nothing above changed.
void balance_upwards(Item *item, const Item *end) {
    while (item != end) {
        const uint32_t before = item->height;
        item = balance(item);
        if (item->height == before) {
            return;
        }
        item = item->parent;
    }
}

Item *leftmost(Item *item) {
    while (item->left != nullptr) {
        item = item->left;
    }
    return item;
}

Item *mutable_end(const cl_qmap_t *map) {
    return const_cast<Item *>(&map->end);
}

// Takes out an item with at most one child. Returns where balancing must begin.
Item *unlink_single(Item *item) {
    Item *parent = item->parent;
    replace_below_parent(item, item->left != nullptr ? item->left : item->right);
    return parent;
}

// Takes out an item with two children: the next one, which has no left child, takes its place.
Item *unlink_double(Item *item) {
    Item *next = leftmost(item->right);
    Item *start = unlink_single(next);
    if (start == item) {
        start = next;
    }
    replace_below_parent(item, next);
    set_left(next, item->left);
    set_right(next, item->right);
    next->height = item->height;
    return start;
}

}  // namespace

void cl_qmap_init(cl_qmap_t *map) {
    map->end = cl_map_item_t{};
    map->end.parent = &map->end;
}

cl_map_item_t *cl_qmap_insert(cl_qmap_t *map, uint64_t key, cl_map_item_t *item) {
    Item *parent = &map->end;
    Item **link = &map->end.left;
    while (*link != nullptr) {
        parent = *link;
        if (key == parent->key) {
            return parent;
        }
        link = key < parent->key ? &parent->left : &parent->right;
    }
    *item = cl_map_item_t{nullptr, nullptr, parent, key, 1};
    *link = item;
    balance_upwards(parent, &map->end);
    return item;
}

cl_map_item_t *cl_qmap_get(const cl_qmap_t *map, uint64_t key) {
    Item *item = map->end.left;
    while (item != nullptr && item->key != key) {
        item = key < item->key ? item->left : item->right;
    }
    return item == nullptr ? mutable_end(map) : item;
}

void cl_qmap_remove_item(cl_qmap_t *map, cl_map_item_t *item) {
    if (item == &map->end) {
        return;
    }
    const bool two_children = item->left != nullptr && item->right != nullptr;
    Item *start = two_children ? unlink_double(item) : unlink_single(item);
    balance_upwards(start, &map->end);
}

cl_map_item_t *cl_qmap_head(const cl_qmap_t *map) {
    return leftmost(mutable_end(map));
}

cl_map_item_t *cl_qmap_next(const cl_map_item_t *item) {
    if (item->right != nullptr) {
        return leftmost(item->right);
    }
    while (item->parent->left != item) {
        item = item->parent;
    }
    return item->parent;
}

const cl_map_item_t *cl_qmap_end(const cl_qmap_t *map) {
    return &map->end;
}

uint64_t cl_qmap_key(const cl_map_item_t *item) {
    return item->key;
}
