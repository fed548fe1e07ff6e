// Label lists such as "1,3,5-7": a set of integers as a text parameter.
//
// Items are separated by ","; an item is a number or a range "low-high". Numbers are decimal as in
// strtol, cut to their low 32 bits. Text after a number (unless it begins with "-") or after a
// range is ignored. Empty items, items without a number, negative values and reversed ranges are
// dropped.
#pragma once

// Stores the distinct values of `text` in an array, in order of first occurrence, and returns their
// number. `*labels` is null or an array of calloc() to be reallocated, and does not change if the
// result is 0. The caller releases the array with free(). Its size is the count rounded up to a
// multiple of 5. Does not detect failed allocations. The time is quadratic in the number of values:
// lists are expected to be short.
int parse_label_list(const char* text, int** labels);

// 1 if `value` is among the first `count` entries, else 0. `labels` is not read if count < 1.
int in_label_list(const int* labels, int count, int value);
