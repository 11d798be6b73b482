# Generates the tables of exact_math.cpp: /usr/bin/python3 exact_math_tables.py [DEGREE] (needs mpmath;
# some minutes). The default degree, 13, is the one exact_math.cpp uses.
#   acos: Taylor coefficients of asin at c_i = i/32, i = 0..16, and tail bounds.
#   cos: sin(j/64), cos(j/64) as double-doubles; pi/2 split for Cody-Waite; pi/2, pi in 32-bit limbs.
import sys
from mpmath import mp, mpf, asin, sin, cos, pi, taylor, floor, ldexp, fabs, log

mp.prec = 1000
D = lambda v: float(v).hex()

def dd(v):
    h = float(v)
    l = float(v - mpf(h))
    return h, l

def emit_acos(deg):
    rows, worst = [], mpf(0)
    for i in range(17):
        c = mpf(i) / 32
        a = [v if fabs(v) > mpf(2)**-600 else mpf(0) for v in taylor(asin, c, 60)]
        tail = sum(fabs(a[k]) * mpf(2) ** (-6 * k) for k in range(deg + 1, 61))
        worst = max(worst, tail)
        a0h, a0l = dd(a[0]); a1h, a1l = dd(a[1]); a2h, a2l = dd(a[2])
        row = [a0h, a0l, a1h, a1l, a2h, a2l] + [float(a[k]) for k in range(3, deg + 1)]
        rows.append(row)
    print("// truncation bound (|d| <= 2^-6), log2:", float(log(worst, 2)), file=sys.stderr)
    return rows

def emit_cos():
    rows = []
    for j in range(52):
        s, c = sin(mpf(j) / 64), cos(mpf(j) / 64)
        rows.append(list(dd(s)) + list(dd(c)))
    return rows

def split_halfpi():
    hp = pi / 2
    p1 = floor(ldexp(hp, 48)) / mpf(2) ** 48            # 49 significant bits
    p2 = floor(ldexp(hp - p1, 48 + 49)) / mpf(2) ** (48 + 49)
    p2f = float(p2); assert mpf(p2f) == p2
    p3 = float(hp - p1 - p2)
    err = hp - p1 - p2 - mpf(p3)
    print("// pi/2 split residual log2:", float(log(fabs(err), 2)), file=sys.stderr)
    return float(p1), p2f, p3

def limbs(v, n):  # v in [0, 2^32): integer part + n fractional 32-bit limbs, little endian
    x = int(floor(ldexp(v, 32 * n)))
    return [(x >> (32 * k)) & 0xffffffff for k in range(n + 1)]

deg = int(sys.argv[1]) if len(sys.argv) > 1 else 13
print("constexpr int kAsinDeg = %d;" % deg)
print("constexpr double kAsinTable[17][%d] = {" % (deg + 4))
for r in emit_acos(deg):
    print("    {" + ", ".join(D(v) for v in r) + "},")
print("};")
print("constexpr double kSinCosTable[52][4] = {  // sin hi, sin lo, cos hi, cos lo of j/64")
for r in emit_cos():
    print("    {" + ", ".join(D(v) for v in r) + "},")
print("};")
p1, p2, p3 = split_halfpi()
print("constexpr double kHalfPi1 = %s, kHalfPi2 = %s, kHalfPi3 = %s;" % (D(p1), D(p2), D(p3)))
hh, hl = dd(pi / 2); ph, pl = dd(pi)
print("constexpr double kHalfPiHi = %s, kHalfPiLo = %s;" % (D(hh), D(hl)))
print("constexpr double kPiHi = %s, kPiLo = %s;" % (D(ph), D(pl)))
print("// pi/2 and pi, 32-bit limbs, little endian, %d fractional limbs." % 24)
print("constexpr uint32_t kHalfPiLimbs[25] = {" + ", ".join("0x%08xu" % v for v in limbs(pi / 2, 24)) + "};")
print("constexpr uint32_t kPiLimbs[25] = {" + ", ".join("0x%08xu" % v for v in limbs(pi, 24)) + "};")
