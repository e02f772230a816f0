// The S-boxes of DES as circuits of what every processor does with two vectors: and, or, exclusive
// or, and not; 536 operations in all. They come from a search of our own that began with the
// circuits of des_boxes_ternary.h and replaced one gate after the other by one that does the same
// wherever it shows. The S-boxes' tables in des_tables.h are what the tests hold them against.
//
// For the unnamed namespace see des_vector.h.
#pragma once

#include <type_traits>

namespace tmx::des {
namespace {

template <int Number>
using Box = std::integral_constant<int, Number>;

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<0>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = x4 ^ x5;
  const V g7 = x1 ^ g6;
  const V g8 = ~g7;
  const V g9 = x4 & x5;
  const V g10 = g7 & ~g9;
  const V g11 = x4 ^ g10;
  const V g12 = x2 & g6;
  const V g13 = x4 ^ g12;
  const V g14 = x0 ^ g13;
  const V g15 = x0 | g8;
  const V g16 = g14 & g15;
  const V g17 = g11 & g16;
  const V g18 = x4 & ~g17;
  const V g19 = x2 & ~g7;
  const V g20 = g11 & ~x2;
  const V g21 = g19 ^ g20;
  const V g22 = g18 | g21;
  const V g23 = x0 & g22;
  const V g24 = g8 ^ g23;
  const V g25 = x1 ^ x2;
  const V g26 = x2 & g25;
  const V g27 = g8 ^ g26;
  const V g28 = x1 & g27;
  const V g29 = g24 & ~g28;
  const V g30 = g6 & ~g11;
  const V g31 = g14 ^ g30;
  const V g32 = g31 & ~x0;
  const V g33 = g29 ^ g32;
  const V g34 = x3 & g33;
  const V g35 = x0 & g21;
  const V g36 = g27 & ~x0;
  const V g37 = g35 | g36;
  const V g38 = g37 & ~x3;
  const V g39 = g34 | g38;
  const V g40 = g16 | g21;
  const V g41 = g17 ^ g40;
  const V g42 = g33 ^ g41;
  const V g43 = x2 ^ g29;
  const V g44 = g16 & ~g29;
  const V g45 = g43 & ~g44;
  const V g46 = x0 & ~g33;
  const V g47 = g28 ^ g46;
  const V g48 = g44 | g47;
  const V g49 = x3 & ~g48;
  const V g50 = g45 ^ g49;
  const V g51 = x4 & g50;
  const V g52 = g41 ^ g50;
  const V g53 = g52 & ~x3;
  const V g54 = x1 | g53;
  const V g55 = ~g54;
  const V g56 = g16 ^ g55;
  const V g57 = x1 & g53;
  const V g58 = g56 | g57;
  const V g59 = g58 & ~x4;
  const V g60 = g51 ^ g59;
  const V g61 = g42 ^ g60;
  const V g62 = g18 ^ g61;
  const V g63 = g62 & ~g55;
  const V g64 = g55 & ~g61;
  const V g65 = g63 ^ g64;
  const V g66 = x3 & g65;
  const V g67 = x0 | g65;
  const V g68 = g53 ^ g67;
  const V g69 = g39 & ~g19;
  const V g70 = g25 | g69;
  const V g71 = x1 | g70;
  const V g72 = g68 ^ g71;
  const V g73 = g72 & ~x3;
  const V g74 = g66 ^ g73;
  const V g75 = x3 & g41;
  const V g76 = g46 ^ g70;
  const V g77 = g76 & ~x3;
  const V g78 = g75 | g77;
  o0 = g39;
  o1 = g74;
  o2 = g78;
  o3 = g60;
}

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<1>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = ~x4;
  const V g7 = x5 ^ g6;
  const V g8 = x0 ^ x3;
  const V g9 = g6 ^ g8;
  const V g10 = ~g9;
  const V g11 = g7 & g10;
  const V g12 = ~x2;
  const V g13 = x0 | x5;
  const V g14 = g12 ^ g13;
  const V g15 = g7 & g14;
  const V g16 = x3 | g7;
  const V g17 = g15 ^ g16;
  const V g18 = g11 ^ g17;
  const V g19 = g18 & ~g12;
  const V g20 = ~x0;
  const V g21 = x5 & ~g20;
  const V g22 = g9 ^ g21;
  const V g23 = g12 & g22;
  const V g24 = g19 | g23;
  const V g25 = x1 & g24;
  const V g26 = x3 & x4;
  const V g27 = ~g26;
  const V g28 = g7 ^ g12;
  const V g29 = x4 & g17;
  const V g30 = x0 & ~g29;
  const V g31 = g28 ^ g30;
  const V g32 = g27 ^ g31;
  const V g33 = g32 & ~x1;
  const V g34 = g25 | g33;
  const V g35 = x1 ^ g26;
  const V g36 = x2 | g35;
  const V g37 = g10 ^ g36;
  const V g38 = x5 & g37;
  const V g39 = g9 & ~x1;
  const V g40 = x0 & g17;
  const V g41 = g20 & g28;
  const V g42 = g40 | g41;
  const V g43 = x1 & g42;
  const V g44 = g39 | g43;
  const V g45 = g44 & ~x5;
  const V g46 = g38 | g45;
  const V g47 = g11 | g20;
  const V g48 = x5 ^ g47;
  const V g49 = g29 ^ g48;
  const V g50 = g49 & ~x1;
  const V g51 = g12 & g13;
  const V g52 = x1 | g51;
  const V g53 = g14 & g52;
  const V g54 = g50 | g53;
  const V g55 = x4 & g54;
  const V g56 = g6 ^ g34;
  const V g57 = g44 ^ g52;
  const V g58 = g56 ^ g57;
  const V g59 = g6 & g58;
  const V g60 = g55 | g59;
  const V g61 = g15 ^ g60;
  const V g62 = g37 & ~g58;
  const V g63 = g61 | g62;
  const V g64 = g40 ^ g43;
  const V g65 = g63 & ~g64;
  const V g66 = x2 & g65;
  const V g67 = g14 ^ g50;
  const V g68 = g23 ^ g67;
  const V g69 = g44 | g68;
  const V g70 = g37 ^ g68;
  const V g71 = g69 & g70;
  const V g72 = g12 & g71;
  const V g73 = g66 | g72;
  o0 = g34;
  o1 = g46;
  o2 = g73;
  o3 = g60;
}

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<2>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = x3 | x4;
  const V g7 = x4 & ~x2;
  const V g8 = g6 & ~g7;
  const V g9 = x5 ^ g8;
  const V g10 = x1 ^ g9;
  const V g11 = x5 ^ g10;
  const V g12 = ~x0;
  const V g13 = ~x1;
  const V g14 = g11 & ~g13;
  const V g15 = g12 & ~g14;
  const V g16 = g11 ^ g15;
  const V g17 = ~x5;
  const V g18 = x3 & g17;
  const V g19 = x2 ^ g18;
  const V g20 = x1 & g19;
  const V g21 = x4 ^ g19;
  const V g22 = g13 ^ g21;
  const V g23 = g20 | g22;
  const V g24 = ~g23;
  const V g25 = x2 & ~g16;
  const V g26 = g24 & ~g25;
  const V g27 = g16 ^ g26;
  const V g28 = g27 & ~x3;
  const V g29 = g10 & g27;
  const V g30 = x0 & ~g10;
  const V g31 = g29 | g30;
  const V g32 = x4 ^ g31;
  const V g33 = x3 & g32;
  const V g34 = g28 ^ g33;
  const V g35 = g34 & ~g17;
  const V g36 = g10 ^ g19;
  const V g37 = x0 ^ g36;
  const V g38 = g9 | g37;
  const V g39 = g34 ^ g38;
  const V g40 = g36 ^ g39;
  const V g41 = g9 ^ g40;
  const V g42 = g41 & ~x5;
  const V g43 = g35 | g42;
  const V g44 = ~g27;
  const V g45 = x2 & ~x4;
  const V g46 = g17 & ~g45;
  const V g47 = g23 ^ g46;
  const V g48 = g43 ^ g47;
  const V g49 = g44 ^ g48;
  const V g50 = g13 & g49;
  const V g51 = x3 | g50;
  const V g52 = x2 ^ g16;
  const V g53 = g35 & ~x2;
  const V g54 = g52 | g53;
  const V g55 = g51 & g54;
  const V g56 = g40 & ~g18;
  const V g57 = g55 ^ g56;
  const V g58 = g37 ^ g57;
  const V g59 = g10 & g12;
  const V g60 = g58 & g59;
  const V g61 = g37 & ~g60;
  const V g62 = g61 & ~x3;
  const V g63 = x3 & g57;
  const V g64 = g62 | g63;
  const V g65 = x5 & g58;
  const V g66 = g44 ^ g60;
  const V g67 = g17 & g66;
  const V g68 = g65 | g67;
  const V g69 = x1 & g68;
  const V g70 = g50 | g69;
  const V g71 = g47 & ~g51;
  const V g72 = g23 & ~g20;
  const V g73 = g71 | g72;
  const V g74 = g73 & ~g12;
  const V g75 = g59 | g74;
  o0 = g43;
  o1 = g64;
  o2 = g70;
  o3 = g75;
}

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<3>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = ~x4;
  const V g7 = x1 & ~x3;
  const V g8 = x1 ^ x2;
  const V g9 = g7 | g8;
  const V g10 = x4 & ~x3;
  const V g11 = x2 ^ g10;
  const V g12 = g9 & ~g11;
  const V g13 = g6 | g12;
  const V g14 = ~g9;
  const V g15 = x3 ^ g6;
  const V g16 = x1 ^ g12;
  const V g17 = g15 | g16;
  const V g18 = g11 & ~x1;
  const V g19 = x1 & g15;
  const V g20 = g18 ^ g19;
  const V g21 = g13 & ~g16;
  const V g22 = g15 ^ g18;
  const V g23 = g22 & ~x0;
  const V g24 = x3 & g23;
  const V g25 = g21 | g24;
  const V g26 = g9 ^ g25;
  const V g27 = g20 & g26;
  const V g28 = g17 & ~g27;
  const V g29 = g14 | g28;
  const V g30 = g13 ^ g29;
  const V g31 = x0 & g30;
  const V g32 = g28 & ~x0;
  const V g33 = g31 | g32;
  const V g34 = ~x5;
  const V g35 = x0 & g20;
  const V g36 = g7 ^ g28;
  const V g37 = x4 & g36;
  const V g38 = g14 ^ g37;
  const V g39 = g38 & ~x0;
  const V g40 = g35 | g39;
  const V g41 = g33 ^ g40;
  const V g42 = g34 | g41;
  const V g43 = g33 ^ g42;
  const V g44 = g34 & g41;
  const V g45 = g33 ^ g44;
  const V g46 = g9 ^ g36;
  const V g47 = g6 | g46;
  const V g48 = x0 & ~g47;
  const V g49 = g21 | g46;
  const V g50 = g36 ^ g49;
  const V g51 = x0 & g50;
  const V g52 = g26 ^ g51;
  const V g53 = g48 | g52;
  const V g54 = x5 | g53;
  const V g55 = g23 | g51;
  const V g56 = x5 & g55;
  const V g57 = g54 & ~g56;
  const V g58 = g55 & ~g56;
  const V g59 = g53 & ~g34;
  const V g60 = g58 ^ g59;
  o0 = g43;
  o1 = g45;
  o2 = g57;
  o3 = g60;
}

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<4>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = x0 | x4;
  const V g7 = x0 & x4;
  const V g8 = ~x2;
  const V g9 = g7 | g8;
  const V g10 = g6 ^ g9;
  const V g11 = x1 ^ x5;
  const V g12 = g10 ^ g11;
  const V g13 = x4 & ~g12;
  const V g14 = x2 ^ g13;
  const V g15 = x4 | g14;
  const V g16 = x2 & ~x1;
  const V g17 = g15 ^ g16;
  const V g18 = x0 & g17;
  const V g19 = ~g10;
  const V g20 = g18 ^ g19;
  const V g21 = ~x0;
  const V g22 = x1 ^ x4;
  const V g23 = g21 | g22;
  const V g24 = g7 & ~x5;
  const V g25 = g17 ^ g24;
  const V g26 = g23 ^ g25;
  const V g27 = g20 & ~g26;
  const V g28 = g12 & g26;
  const V g29 = g13 | g28;
  const V g30 = x5 & g26;
  const V g31 = g20 & ~x5;
  const V g32 = g30 | g31;
  const V g33 = g32 & ~x3;
  const V g34 = ~g29;
  const V g35 = g33 | g34;
  const V g36 = x2 | g12;
  const V g37 = g36 & ~g10;
  const V g38 = x3 ^ g37;
  const V g39 = g33 ^ g38;
  const V g40 = g35 & ~g39;
  const V g41 = g29 ^ g40;
  const V g42 = g27 ^ g41;
  const V g43 = x5 & g42;
  const V g44 = g38 & ~g10;
  const V g45 = x1 & g8;
  const V g46 = g11 | g45;
  const V g47 = x2 & g46;
  const V g48 = g35 ^ g47;
  const V g49 = x3 & g48;
  const V g50 = g44 | g49;
  const V g51 = g50 & ~x5;
  const V g52 = g43 | g51;
  const V g53 = x0 | g52;
  const V g54 = x3 & g12;
  const V g55 = g33 | g54;
  const V g56 = g33 & g46;
  const V g57 = g14 & ~g31;
  const V g58 = g43 ^ g57;
  const V g59 = g56 | g58;
  const V g60 = x0 & g59;
  const V g61 = g10 & g48;
  const V g62 = g42 ^ g61;
  const V g63 = g54 & ~x4;
  const V g64 = g62 ^ g63;
  const V g65 = x3 & g45;
  const V g66 = g64 | g65;
  const V g67 = g66 & ~x0;
  const V g68 = g60 | g67;
  const V g69 = g55 ^ g68;
  const V g70 = g52 & ~x1;
  const V g71 = g69 ^ g70;
  const V g72 = g53 ^ g71;
  const V g73 = x4 & g72;
  const V g74 = g12 ^ g72;
  const V g75 = g71 & ~g74;
  const V g76 = ~g75;
  const V g77 = g39 & g74;
  const V g78 = g76 ^ g77;
  const V g79 = g78 & ~x4;
  const V g80 = g73 | g79;
  o0 = g80;
  o1 = g55;
  o2 = g68;
  o3 = g52;
}

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<5>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = ~x4;
  const V g7 = x0 ^ x4;
  const V g8 = x0 ^ x3;
  const V g9 = x4 & ~g8;
  const V g10 = ~x1;
  const V g11 = g9 ^ g10;
  const V g12 = x0 | g8;
  const V g13 = g11 ^ g12;
  const V g14 = g13 & ~x5;
  const V g15 = x5 & g11;
  const V g16 = g14 | g15;
  const V g17 = g6 & g16;
  const V g18 = g7 | g17;
  const V g19 = g6 & g18;
  const V g20 = x3 | g11;
  const V g21 = x0 ^ g20;
  const V g22 = x1 & g21;
  const V g23 = g18 & g22;
  const V g24 = g9 | g23;
  const V g25 = g19 ^ g24;
  const V g26 = x5 & g25;
  const V g27 = x5 ^ g11;
  const V g28 = x1 & x2;
  const V g29 = g27 ^ g28;
  const V g30 = g6 ^ g8;
  const V g31 = x5 ^ g30;
  const V g32 = g29 & g31;
  const V g33 = g26 | g32;
  const V g34 = g13 & ~x1;
  const V g35 = x2 ^ g34;
  const V g36 = g33 & g35;
  const V g37 = g16 ^ g18;
  const V g38 = g25 & g37;
  const V g39 = g20 & ~g38;
  const V g40 = g31 ^ g39;
  const V g41 = g8 | g40;
  const V g42 = x2 ^ g41;
  const V g43 = g29 & g42;
  const V g44 = g36 | g43;
  const V g45 = ~g40;
  const V g46 = g25 & ~g35;
  const V g47 = g37 & ~x2;
  const V g48 = g30 ^ g37;
  const V g49 = g22 & ~g48;
  const V g50 = g47 ^ g49;
  const V g51 = g46 & g50;
  const V g52 = g45 ^ g51;
  const V g53 = x2 ^ g52;
  const V g54 = g42 & ~g14;
  const V g55 = g28 | g47;
  const V g56 = g39 ^ g55;
  const V g57 = g20 & ~g56;
  const V g58 = g54 | g57;
  const V g59 = g58 & ~g6;
  const V g60 = g45 ^ g56;
  const V g61 = g6 & g60;
  const V g62 = g59 | g61;
  const V g63 = x2 & g16;
  const V g64 = g50 & ~g36;
  const V g65 = g63 | g64;
  o0 = g44;
  o1 = g53;
  o2 = g62;
  o3 = g65;
}

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<6>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = x2 & x5;
  const V g7 = ~x1;
  const V g8 = g6 ^ g7;
  const V g9 = x4 & ~g8;
  const V g10 = ~x3;
  const V g11 = g9 ^ g10;
  const V g12 = g9 | g11;
  const V g13 = x4 ^ g12;
  const V g14 = x2 ^ g13;
  const V g15 = g8 ^ g14;
  const V g16 = x4 & ~x5;
  const V g17 = g10 | g16;
  const V g18 = x5 ^ g17;
  const V g19 = g14 ^ g18;
  const V g20 = g15 ^ g19;
  const V g21 = g20 & ~x2;
  const V g22 = g13 | g21;
  const V g23 = x4 & g22;
  const V g24 = g15 & ~x4;
  const V g25 = g23 ^ g24;
  const V g26 = ~x0;
  const V g27 = g25 & ~g26;
  const V g28 = x1 ^ g19;
  const V g29 = g14 & g18;
  const V g30 = g28 & ~g29;
  const V g31 = g19 & ~g7;
  const V g32 = g13 & ~x1;
  const V g33 = g31 ^ g32;
  const V g34 = x5 ^ g33;
  const V g35 = x2 ^ g34;
  const V g36 = ~g35;
  const V g37 = x4 | g27;
  const V g38 = g37 & ~g11;
  const V g39 = g36 ^ g38;
  const V g40 = x4 & g39;
  const V g41 = g30 | g40;
  const V g42 = g7 | g21;
  const V g43 = x5 & ~g42;
  const V g44 = g41 ^ g43;
  const V g45 = g44 & ~x0;
  const V g46 = g27 | g45;
  const V g47 = g41 & ~g26;
  const V g48 = g26 & g33;
  const V g49 = g47 | g48;
  const V g50 = g20 ^ g26;
  const V g51 = ~g41;
  const V g52 = g50 & ~g44;
  const V g53 = g51 | g52;
  const V g54 = g50 ^ g53;
  const V g55 = x5 ^ g54;
  const V g56 = g49 & g52;
  const V g57 = g55 ^ g56;
  const V g58 = g49 ^ g57;
  const V g59 = g58 & ~g16;
  const V g60 = g18 ^ g39;
  const V g61 = ~g60;
  const V g62 = x4 ^ g61;
  const V g63 = x0 ^ g30;
  const V g64 = g38 & ~g18;
  const V g65 = g63 & ~g64;
  const V g66 = g62 ^ g65;
  const V g67 = g29 ^ g66;
  const V g68 = g67 & ~x5;
  const V g69 = g59 ^ g68;
  const V g70 = g37 & g69;
  const V g71 = g28 & ~g45;
  const V g72 = g24 & ~g6;
  const V g73 = g71 | g72;
  const V g74 = g73 & ~g37;
  const V g75 = g70 | g74;
  const V g76 = x2 & g54;
  const V g77 = g66 & ~x2;
  const V g78 = g76 | g77;
  o0 = g46;
  o1 = g49;
  o2 = g75;
  o3 = g78;
}

template <class V>
[[gnu::always_inline]] inline void Substitute(Box<7>, const V& x0, const V& x1, const V& x2,
                                              const V& x3, const V& x4, const V& x5, V& o0, V& o1,
                                              V& o2, V& o3) {
  const V g6 = x1 ^ x3;
  const V g7 = x4 ^ g6;
  const V g8 = x3 | g7;
  const V g9 = x2 ^ x4;
  const V g10 = x2 & ~x1;
  const V g11 = g9 & ~g10;
  const V g12 = g8 ^ g11;
  const V g13 = x0 & g12;
  const V g14 = x4 & g8;
  const V g15 = g6 & ~g14;
  const V g16 = g9 ^ g15;
  const V g17 = g16 & ~x0;
  const V g18 = g13 | g17;
  const V g19 = ~g18;
  const V g20 = x5 & ~g19;
  const V g21 = ~x4;
  const V g22 = x2 & g21;
  const V g23 = g6 ^ g22;
  const V g24 = x1 ^ g23;
  const V g25 = g8 & ~x1;
  const V g26 = g24 ^ g25;
  const V g27 = x1 & ~g11;
  const V g28 = g26 | g27;
  const V g29 = x2 ^ x3;
  const V g30 = g28 & g29;
  const V g31 = ~g30;
  const V g32 = g14 ^ g31;
  const V g33 = g32 & ~x0;
  const V g34 = x0 & g26;
  const V g35 = g33 | g34;
  const V g36 = g35 & ~x5;
  const V g37 = g20 | g36;
  const V g38 = g12 ^ g26;
  const V g39 = g10 | g38;
  const V g40 = x5 ^ g39;
  const V g41 = g31 ^ g40;
  const V g42 = g41 & ~x0;
  const V g43 = x5 & g23;
  const V g44 = g32 & ~g27;
  const V g45 = g15 & ~g43;
  const V g46 = g44 | g45;
  const V g47 = g28 ^ g35;
  const V g48 = g46 ^ g47;
  const V g49 = g48 & ~x5;
  const V g50 = g43 | g49;
  const V g51 = x0 & g50;
  const V g52 = g42 | g51;
  const V g53 = g16 & ~x2;
  const V g54 = g52 & ~x3;
  const V g55 = x0 ^ g54;
  const V g56 = g30 ^ g55;
  const V g57 = g21 ^ g56;
  const V g58 = x5 & g57;
  const V g59 = g19 & ~x5;
  const V g60 = g58 | g59;
  const V g61 = g53 & ~g60;
  const V g62 = g41 ^ g61;
  const V g63 = x4 | g55;
  const V g64 = g62 ^ g63;
  const V g65 = x0 & g64;
  const V g66 = g48 & ~x0;
  const V g67 = g65 | g66;
  o0 = g37;
  o1 = g52;
  o2 = g67;
  o3 = g60;
}

}  // namespace
}  // namespace tmx::des
