// Label lists such as "1,3,5-7": a text parameter that names a set of integers.
//
// Items are separated by ","; an item is a number or a range "low-high". Numbers are decimal, read
// as strtol reads them and cut to their low 32 bits. Text after a number (unless it begins with
// "-") or after a range is ignored; empty items, items without a number, negative values and
// reversed ranges are dropped without a word.
#ifndef VX_SRC_NAMES_LABEL_LIST_H
#define VX_SRC_NAMES_LABEL_LIST_H

// Stores the distinct values of `text`, in the order in which they first occur, in an array that
// the caller owns and releases with free(); returns their number. `*labels` is null, or an array
// from calloc to be reused; it stays as it is when the result is 0. The array always has room for
// the count rounded up to a multiple of 5. A failing allocation is not detected.
// Takes time quadratic in the number of values: lists are short.
int parse_label_list(const char* text, int** labels);

// 1 when `value` is among the first `count` entries, else 0. `labels` is not read when count < 1.
int in_label_list(const int* labels, int count, int value);

#endif
