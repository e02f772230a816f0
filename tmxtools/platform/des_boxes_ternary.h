// The S-boxes of DES as circuits for processors with ternary logic: 210 gates in all, each any
// Boolean function of three bits given by its truth table. They come from a search of our own that
// took the outputs one after the other and tried which gates over what stands already make the
// next; Shannon's expansion (table 0xCA) joins the parts. The S-boxes' tables in des_tables.h are
// what the tests hold them against.
//
// For the unnamed namespace see des_vector.h.
#pragma once

#include "tmxtools/platform/des_boxes.h"

namespace tmx::des {
namespace {

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<0>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0x69>(x4, x5, x1);
  const V g7 = Ops::template Mix<0xe3>(x4, g6, x1);
  const V g8 = Ops::template Mix<0xca>(x2, g6, g7);
  const V g9 = Ops::template Mix<0xc6>(x1, g6, x2);
  const V g10 = Ops::template Mix<0xca>(x0, g8, g9);
  const V g11 = Ops::template Mix<0xe0>(x0, g8, x4);
  const V g12 = Ops::template Mix<0x34>(g11, g6, x1);
  const V g13 = Ops::template Mix<0x78>(x4, g9, x2);
  const V g14 = Ops::template Mix<0x25>(g13, g12, g7);
  const V g15 = Ops::template Mix<0xca>(x0, g12, g14);
  const V g16 = Ops::template Mix<0xca>(x3, g15, g10);
  const V g17 = Ops::template Mix<0x76>(g16, x1, x2);
  const V g18 = Ops::template Mix<0xd6>(g17, g12, x0);
  const V g19 = Ops::template Mix<0x64>(g6, x0, g13);
  const V g20 = Ops::template Mix<0x5c>(g19, g8, g7);
  const V g21 = Ops::template Mix<0xca>(x3, g20, g18);
  const V g22 = Ops::template Mix<0x1c>(x2, g12, g19);
  const V g23 = Ops::template Mix<0x35>(g10, g18, g22);
  const V g24 = Ops::template Mix<0xca>(x3, g23, g22);
  const V g25 = Ops::template Mix<0x24>(g23, g24, g20);
  const V g26 = Ops::template Mix<0xe9>(g25, x1, g19);
  const V g27 = Ops::template Mix<0xca>(x4, g24, g26);
  const V g28 = Ops::template Mix<0x69>(g20, g15, g27);
  const V g29 = Ops::template Mix<0x39>(g19, g28, x4);
  const V g30 = Ops::template Mix<0xca>(x1, g29, g28);
  const V g31 = Ops::template Mix<0xe0>(g25, g29, x0);
  const V g32 = Ops::template Mix<0xe1>(g31, x1, g17);
  const V g33 = Ops::template Mix<0xca>(x3, g30, g32);
  o0 = g16;
  o1 = g33;
  o2 = g21;
  o3 = g27;
}

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<1>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0x69>(x0, x3, x4);
  const V g7 = Ops::template Mix<0x96>(x5, x4, x2);
  const V g8 = Ops::template Mix<0x2b>(x2, g7, x3);
  const V g9 = Ops::template Mix<0xca>(x0, g8, g7);
  const V g10 = Ops::template Mix<0xca>(x1, g9, g6);
  const V g11 = Ops::template Mix<0x6a>(x4, x3, x1);
  const V g12 = Ops::template Mix<0xa9>(g11, x2, g6);
  const V g13 = Ops::template Mix<0xca>(x5, g12, g10);
  const V g14 = Ops::template Mix<0x70>(x0, x4, g8);
  const V g15 = Ops::template Mix<0x49>(g14, g7, g11);
  const V g16 = Ops::template Mix<0xa6>(x4, g12, g7);
  const V g17 = Ops::template Mix<0x9e>(g16, g8, g13);
  const V g18 = Ops::template Mix<0x78>(g6, x5, x0);
  const V g19 = Ops::template Mix<0xca>(x2, g17, g18);
  const V g20 = Ops::template Mix<0xca>(x1, g19, g15);
  const V g21 = Ops::template Mix<0xa9>(x5, x0, x2);
  const V g22 = Ops::template Mix<0x43>(x5, x0, g19);
  const V g23 = Ops::template Mix<0x78>(g22, x4, g8);
  const V g24 = Ops::template Mix<0xca>(x1, g21, g23);
  const V g25 = Ops::template Mix<0xab>(x2, g21, x1);
  const V g26 = Ops::template Mix<0x69>(g25, g10, g20);
  const V g27 = Ops::template Mix<0xca>(x4, g24, g26);
  const V g28 = Ops::template Mix<0x68>(g18, g24, g25);
  const V g29 = Ops::template Mix<0x58>(g28, g10, g12);
  const V g30 = Ops::template Mix<0x5e>(g7, x1, g27);
  const V g31 = Ops::template Mix<0x74>(g30, g23, g11);
  const V g32 = Ops::template Mix<0xca>(x2, g31, g29);
  o0 = g20;
  o1 = g13;
  o2 = g32;
  o3 = g27;
}

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<2>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0xc6>(x5, x2, x3);
  const V g7 = Ops::template Mix<0xe9>(g6, x4, x1);
  const V g8 = Ops::template Mix<0x4d>(x2, x4, x5);
  const V g9 = Ops::template Mix<0x34>(g8, g6, x3);
  const V g10 = Ops::template Mix<0xca>(x1, g9, g7);
  const V g11 = Ops::template Mix<0xd8>(x3, x2, x4);
  const V g12 = Ops::template Mix<0x96>(g11, x1, x5);
  const V g13 = Ops::template Mix<0xca>(x0, g10, g12);
  const V g14 = Ops::template Mix<0x79>(x1, g11, x0);
  const V g15 = Ops::template Mix<0xa1>(g14, x2, g7);
  const V g16 = Ops::template Mix<0xca>(g12, g15, x0);
  const V g17 = Ops::template Mix<0x4a>(g16, g11, x4);
  const V g18 = Ops::template Mix<0xca>(x3, g17, g15);
  const V g19 = Ops::template Mix<0x7d>(g14, g6, g11);
  const V g20 = Ops::template Mix<0x69>(g19, g18, x0);
  const V g21 = Ops::template Mix<0xca>(x5, g18, g20);
  const V g22 = Ops::template Mix<0x69>(g12, x2, x0);
  const V g23 = Ops::template Mix<0x0b>(g22, g10, g7);
  const V g24 = Ops::template Mix<0x76>(g21, g14, x2);
  const V g25 = Ops::template Mix<0xd4>(g24, g22, g20);
  const V g26 = Ops::template Mix<0xca>(x3, g25, g23);
  const V g27 = Ops::template Mix<0x6b>(g15, g25, g22);
  const V g28 = Ops::template Mix<0x95>(x3, g24, g20);
  const V g29 = Ops::template Mix<0xca>(x5, g28, g27);
  const V g30 = Ops::template Mix<0xc6>(x5, g21, g8);
  const V g31 = Ops::template Mix<0x69>(g30, g7, g15);
  const V g32 = Ops::template Mix<0xca>(x1, g29, g31);
  o0 = g21;
  o1 = g26;
  o2 = g32;
  o3 = g13;
}

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<3>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0xc6>(x3, x2, x4);
  const V g7 = Ops::template Mix<0x99>(x2, x3, x4);
  const V g8 = Ops::template Mix<0xca>(x1, g7, g6);
  const V g9 = Ops::template Mix<0x6e>(x3, x1, x2);
  const V g10 = Ops::template Mix<0x2d>(g9, g6, x4);
  const V g11 = Ops::template Mix<0xca>(x0, g8, g10);
  const V g12 = Ops::template Mix<0xe4>(g6, x4, x1);
  const V g13 = Ops::template Mix<0x5c>(g12, g7, g8);
  const V g14 = Ops::template Mix<0x29>(g13, g10, x4);
  const V g15 = Ops::template Mix<0xca>(x0, g14, g13);
  const V g16 = Ops::template Mix<0xca>(x5, g15, g11);
  const V g17 = Ops::template Mix<0x49>(g14, x1, x3);
  const V g18 = Ops::template Mix<0x8d>(g17, g9, g12);
  const V g19 = Ops::template Mix<0xb4>(g7, g6, x1);
  const V g20 = Ops::template Mix<0xca>(x0, g18, g19);
  const V g21 = Ops::template Mix<0xad>(g9, g7, g12);
  const V g22 = Ops::template Mix<0x1d>(g6, g17, g21);
  const V g23 = Ops::template Mix<0xca>(x0, g22, g21);
  const V g24 = Ops::template Mix<0xca>(x5, g23, g20);
  const V g25 = Ops::template Mix<0x2e>(g20, x5, g23);
  const V g26 = Ops::template Mix<0x8b>(g15, x5, g11);
  o0 = g26;
  o1 = g16;
  o2 = g25;
  o3 = g24;
}

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<4>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0x29>(x0, x4, x2);
  const V g7 = Ops::template Mix<0x96>(g6, x5, x1);
  const V g8 = Ops::template Mix<0x27>(x4, x1, x2);
  const V g9 = Ops::template Mix<0x39>(g8, g6, x0);
  const V g10 = Ops::template Mix<0x7d>(x1, x4, x0);
  const V g11 = Ops::template Mix<0xa1>(g10, g7, g8);
  const V g12 = Ops::template Mix<0xca>(x5, g11, g9);
  const V g13 = Ops::template Mix<0xca>(x3, g7, g12);
  const V g14 = Ops::template Mix<0x35>(g7, g11, x4);
  const V g15 = Ops::template Mix<0xd3>(g14, g8, x2);
  const V g16 = Ops::template Mix<0x54>(g7, x2, g6);
  const V g17 = Ops::template Mix<0xca>(x3, g15, g16);
  const V g18 = Ops::template Mix<0x97>(g14, g17, g13);
  const V g19 = Ops::template Mix<0xd2>(g18, g11, g9);
  const V g20 = Ops::template Mix<0xca>(x5, g19, g17);
  const V g21 = Ops::template Mix<0x63>(g7, g16, x4);
  const V g22 = Ops::template Mix<0xda>(g21, g14, g20);
  const V g23 = Ops::template Mix<0x9b>(x1, g9, g19);
  const V g24 = Ops::template Mix<0xca>(x3, g22, g23);
  const V g25 = Ops::template Mix<0x24>(g15, x1, g18);
  const V g26 = Ops::template Mix<0x6b>(g24, x3, g9);
  const V g27 = Ops::template Mix<0xca>(x5, g26, g25);
  const V g28 = Ops::template Mix<0xca>(x0, g27, g24);
  const V g29 = Ops::template Mix<0xb8>(x0, g20, x1);
  const V g30 = Ops::template Mix<0x96>(g29, g13, g28);
  const V g31 = Ops::template Mix<0x64>(g19, g30, g20);
  const V g32 = Ops::template Mix<0x0b>(g31, g29, g7);
  const V g33 = Ops::template Mix<0xca>(x4, g30, g32);
  o0 = g33;
  o1 = g13;
  o2 = g28;
  o3 = g20;
}

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<5>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0xcb>(x0, x3, x1);
  const V g7 = Ops::template Mix<0x8e>(x1, x0, x3);
  const V g8 = Ops::template Mix<0xca>(x4, g6, g7);
  const V g9 = Ops::template Mix<0x69>(x3, x4, x0);
  const V g10 = Ops::template Mix<0xca>(x5, g8, g9);
  const V g11 = Ops::template Mix<0xc7>(x4, g10, x5);
  const V g12 = Ops::template Mix<0x94>(x5, x4, g9);
  const V g13 = Ops::template Mix<0xca>(x1, g12, g11);
  const V g14 = Ops::template Mix<0xca>(x2, g10, g13);
  const V g15 = Ops::template Mix<0x1e>(g13, x0, x3);
  const V g16 = Ops::template Mix<0x65>(g6, g9, x1);
  const V g17 = Ops::template Mix<0xca>(x5, g16, g15);
  const V g18 = Ops::template Mix<0x86>(g17, x4, x0);
  const V g19 = Ops::template Mix<0xd1>(g18, g7, g9);
  const V g20 = Ops::template Mix<0xca>(x2, g17, g19);
  const V g21 = Ops::template Mix<0x3a>(g8, g18, g16);
  const V g22 = Ops::template Mix<0x96>(g21, g9, x5);
  const V g23 = Ops::template Mix<0x2a>(g12, x0, g8);
  const V g24 = Ops::template Mix<0x95>(g23, g20, g22);
  const V g25 = Ops::template Mix<0xca>(x2, g22, g24);
  const V g26 = Ops::template Mix<0x56>(g22, g12, x2);
  const V g27 = Ops::template Mix<0x9a>(g14, g23, x2);
  const V g28 = Ops::template Mix<0xca>(x5, g26, g27);
  const V g29 = Ops::template Mix<0xca>(x2, x1, g18);
  const V g30 = Ops::template Mix<0x69>(g29, g21, g22);
  const V g31 = Ops::template Mix<0xca>(x4, g28, g30);
  o0 = g14;
  o1 = g25;
  o2 = g31;
  o3 = g20;
}

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<6>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0x93>(x2, x1, x5);
  const V g7 = Ops::template Mix<0x91>(g6, x4, x3);
  const V g8 = Ops::template Mix<0xcb>(x5, x3, x4);
  const V g9 = Ops::template Mix<0x96>(g8, x2, g7);
  const V g10 = Ops::template Mix<0xca>(x1, g9, g7);
  const V g11 = Ops::template Mix<0xd6>(x2, g10, x5);
  const V g12 = Ops::template Mix<0x97>(g11, g6, x3);
  const V g13 = Ops::template Mix<0x52>(g9, g8, x1);
  const V g14 = Ops::template Mix<0xca>(x4, g12, g13);
  const V g15 = Ops::template Mix<0xca>(x0, g14, g10);
  const V g16 = Ops::template Mix<0x73>(g8, x1, x2);
  const V g17 = Ops::template Mix<0xc6>(g16, g14, x5);
  const V g18 = Ops::template Mix<0xd1>(g7, x2, g13);
  const V g19 = Ops::template Mix<0x96>(g8, g6, g9);
  const V g20 = Ops::template Mix<0xca>(x4, g18, g19);
  const V g21 = Ops::template Mix<0xca>(x0, g20, g17);
  const V g22 = Ops::template Mix<0x69>(g19, g9, x0);
  const V g23 = Ops::template Mix<0x85>(g22, g17, g14);
  const V g24 = Ops::template Mix<0x68>(x4, g8, g12);
  const V g25 = Ops::template Mix<0xd6>(g24, g13, x0);
  const V g26 = Ops::template Mix<0xca>(x2, g23, g25);
  const V g27 = Ops::template Mix<0x69>(g11, g23, g19);
  const V g28 = Ops::template Mix<0xd9>(g22, g15, g23);
  const V g29 = Ops::template Mix<0xca>(x5, g28, g27);
  const V g30 = Ops::template Mix<0x71>(x1, g9, g25);
  const V g31 = Ops::template Mix<0xbc>(g30, g22, g19);
  const V g32 = Ops::template Mix<0xca>(x4, g29, g31);
  o0 = g21;
  o1 = g15;
  o2 = g32;
  o3 = g26;
}

template <class Ops, class V>
[[gnu::always_inline]] inline void SubstituteTernary(Box<7>, const V& x0, const V& x1, const V& x2,
                                                     const V& x3, const V& x4, const V& x5, V& o0,
                                                     V& o1, V& o2, V& o3) {
  const V g6 = Ops::template Mix<0xd6>(x4, x3, x1);
  const V g7 = Ops::template Mix<0x34>(g6, x2, x0);
  const V g8 = Ops::template Mix<0x62>(x1, x2, x4);
  const V g9 = Ops::template Mix<0x1e>(g8, x3, g6);
  const V g10 = Ops::template Mix<0xca>(x0, g9, g7);
  const V g11 = Ops::template Mix<0x38>(x2, x3, x1);
  const V g12 = Ops::template Mix<0x87>(g11, g6, x4);
  const V g13 = Ops::template Mix<0x65>(x2, x4, x3);
  const V g14 = Ops::template Mix<0x2d>(g13, x1, g6);
  const V g15 = Ops::template Mix<0xca>(x0, g14, g12);
  const V g16 = Ops::template Mix<0xca>(x5, g10, g15);
  const V g17 = Ops::template Mix<0x99>(x4, x1, g13);
  const V g18 = Ops::template Mix<0xc2>(x1, g8, g12);
  const V g19 = Ops::template Mix<0xca>(x5, g17, g18);
  const V g20 = Ops::template Mix<0xda>(g9, g18, g14);
  const V g21 = Ops::template Mix<0x69>(g20, x5, g11);
  const V g22 = Ops::template Mix<0xca>(x0, g19, g21);
  const V g23 = Ops::template Mix<0x55>(g17, g22, g10);
  const V g24 = Ops::template Mix<0xc6>(x3, x0, g22);
  const V g25 = Ops::template Mix<0x69>(g24, g11, x4);
  const V g26 = Ops::template Mix<0xca>(x5, g25, g23);
  const V g27 = Ops::template Mix<0xa6>(g26, g7, g21);
  const V g28 = Ops::template Mix<0x1e>(g27, g24, x4);
  const V g29 = Ops::template Mix<0xc1>(g18, g14, g24);
  const V g30 = Ops::template Mix<0x85>(g29, g6, g12);
  const V g31 = Ops::template Mix<0xca>(x0, g28, g30);
  o0 = g16;
  o1 = g22;
  o2 = g31;
  o3 = g26;
}

}  // namespace
}  // namespace tmx::des
