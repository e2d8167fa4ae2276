// Linear light of sRGB bytes (IEC 61966-2-1), and the sizes of the fixed-point conversions' tables.
#ifndef KELVRA_CV_COLOR_LAB_TABLES_H_
#define KELVRA_CV_COLOR_LAB_TABLES_H_

#include <cstddef>

namespace KelvraCV::detail {

constexpr size_t kGammaEntries = 256;          // int: linear light, 10 fractional bits
constexpr size_t kCubeRootEntries = 1500;      // int: f(i / 1024), 20 fractional bits
constexpr size_t kPlaneEntries = 256 * 256;    // int: X or Z by L and a or b
constexpr size_t kInverseGammaEntries = 4096;  // unsigned short: sRGB byte of light i / 4096

// Entry c is powf(fma(c, 0.003717127, 0.052132703), 2.4), which is ((c / 255 + 0.055) / 1.055)^2.4,
// if c * 0.003921569 > 0.04045, else c * 0.000303527, which is c / 255 / 12.92. Written down, so
// that it is the same everywhere and costs a small image nothing.
inline constexpr float kLinearLight[256] = {
    0x0p+0f,         0x1.3e4568p-12f, 0x1.3e4568p-11f, 0x1.dd681cp-11f, 0x1.3e4568p-10f,
    0x1.8dd6c2p-10f, 0x1.dd681cp-10f, 0x1.167cbcp-9f,  0x1.3e4568p-9f,  0x1.660e14p-9f,
    0x1.8dd6c2p-9f,  0x1.b6a31ap-9f,  0x1.e1e31ap-9f,  0x1.07c38ap-8f,  0x1.1fcc2cp-8f,
    0x1.390ffap-8f,  0x1.53936ap-8f,  0x1.6f5adep-8f,  0x1.8c6a92p-8f,  0x1.aac6c2p-8f,
    0x1.ca7382p-8f,  0x1.eb74ep-8f,   0x1.06e76ap-7f,  0x1.18c2a4p-7f,  0x1.2b4e0cp-7f,
    0x1.3e8b7cp-7f,  0x1.527cd6p-7f,  0x1.6723eep-7f,  0x1.7c8292p-7f,  0x1.929a86p-7f,
    0x1.a96d94p-7f,  0x1.c0fd68p-7f,  0x1.d94bbep-7f,  0x1.f25a44p-7f,  0x1.06155p-6f,
    0x1.135f4p-6f,   0x1.210bbap-6f,  0x1.2f1b8ep-6f,  0x1.3d8f84p-6f,  0x1.4c6866p-6f,
    0x1.5ba6fap-6f,  0x1.6b4c06p-6f,  0x1.7b5844p-6f,  0x1.8bcc76p-6f,  0x1.9ca95ap-6f,
    0x1.adefaap-6f,  0x1.bfa02p-6f,   0x1.d1bb78p-6f,  0x1.e4425cp-6f,  0x1.f73588p-6f,
    0x1.054ad6p-5f,  0x1.0f31bap-5f,  0x1.194fccp-5f,  0x1.23a56p-5f,   0x1.2e32cap-5f,
    0x1.38f862p-5f,  0x1.43f678p-5f,  0x1.4f2d64p-5f,  0x1.5a9d76p-5f,  0x1.6647p-5f,
    0x1.722a56p-5f,  0x1.7e47c6p-5f,  0x1.8a9fa8p-5f,  0x1.97323ep-5f,  0x1.a3ffdep-5f,
    0x1.b108d4p-5f,  0x1.be4d6ep-5f,  0x1.cbcdfcp-5f,  0x1.d98ac8p-5f,  0x1.e7841ep-5f,
    0x1.f5ba4ap-5f,  0x1.0216ccp-4f,  0x1.096f26p-4f,  0x1.10e66p-4f,   0x1.187c94p-4f,
    0x1.2031ecp-4f,  0x1.28068ap-4f,  0x1.2ffa94p-4f,  0x1.380e2cp-4f,  0x1.404176p-4f,
    0x1.489496p-4f,  0x1.5107aep-4f,  0x1.599aep-4f,   0x1.624e5p-4f,   0x1.6b222p-4f,
    0x1.741676p-4f,  0x1.7d2b6ap-4f,  0x1.866124p-4f,  0x1.8fb7c4p-4f,  0x1.992f6cp-4f,
    0x1.a2c83ep-4f,  0x1.ac8258p-4f,  0x1.b65ddep-4f,  0x1.c05aeep-4f,  0x1.ca79aap-4f,
    0x1.d4ba32p-4f,  0x1.df1caap-4f,  0x1.e9a126p-4f,  0x1.f447dp-4f,   0x1.ff10c2p-4f,
    0x1.04fe0ep-3f,  0x1.0a85p-3f,    0x1.101d46p-3f,  0x1.15c6fp-3f,   0x1.1b820ap-3f,
    0x1.214ea8p-3f,  0x1.272cd6p-3f,  0x1.2d1ca4p-3f,  0x1.331e22p-3f,  0x1.39315cp-3f,
    0x1.3f5664p-3f,  0x1.458d46p-3f,  0x1.4bd612p-3f,  0x1.5230d8p-3f,  0x1.589da4p-3f,
    0x1.5f1c86p-3f,  0x1.65ad8cp-3f,  0x1.6c50c6p-3f,  0x1.73064p-3f,   0x1.79ce08p-3f,
    0x1.80a832p-3f,  0x1.8794c4p-3f,  0x1.8e93dp-3f,   0x1.95a562p-3f,  0x1.9cc98cp-3f,
    0x1.a40056p-3f,  0x1.ab49d2p-3f,  0x1.b2a60ep-3f,  0x1.ba1516p-3f,  0x1.c196f8p-3f,
    0x1.c92bcp-3f,   0x1.d0d37ep-3f,  0x1.d88e4p-3f,   0x1.e05c1p-3f,   0x1.e83cfep-3f,
    0x1.f03118p-3f,  0x1.f83868p-3f,  0x1.002984p-2f,  0x1.044078p-2f,  0x1.08611ap-2f,
    0x1.0c8b74p-2f,  0x1.10bf8ap-2f,  0x1.14fd64p-2f,  0x1.194506p-2f,  0x1.1d967ap-2f,
    0x1.21f1c2p-2f,  0x1.2656e8p-2f,  0x1.2ac5fp-2f,   0x1.2f3ee2p-2f,  0x1.33c1c4p-2f,
    0x1.384e9cp-2f,  0x1.3ce56ep-2f,  0x1.418644p-2f,  0x1.463124p-2f,  0x1.4ae61p-2f,
    0x1.4fa512p-2f,  0x1.546e3p-2f,   0x1.59416ep-2f,  0x1.5e1ed2p-2f,  0x1.630666p-2f,
    0x1.67f82cp-2f,  0x1.6cf43p-2f,   0x1.71fa6ep-2f,  0x1.770af2p-2f,  0x1.7c25c2p-2f,
    0x1.814ae2p-2f,  0x1.867a5ap-2f,  0x1.8bb42ep-2f,  0x1.90f866p-2f,  0x1.964706p-2f,
    0x1.9ba016p-2f,  0x1.a1039ap-2f,  0x1.a67198p-2f,  0x1.abea16p-2f,  0x1.b16d1ap-2f,
    0x1.b6faa8p-2f,  0x1.bc92cap-2f,  0x1.c23582p-2f,  0x1.c7e2d6p-2f,  0x1.cd9acep-2f,
    0x1.d35d6cp-2f,  0x1.d92abap-2f,  0x1.df02bap-2f,  0x1.e4e574p-2f,  0x1.ead2f2p-2f,
    0x1.f0cb2ep-2f,  0x1.f6ce34p-2f,  0x1.fcdc0ap-2f,  0x1.017a5ap-1f,  0x1.048c1cp-1f,
    0x1.07a34ep-1f,  0x1.0abff2p-1f,  0x1.0de20cp-1f,  0x1.11099ep-1f,  0x1.1436acp-1f,
    0x1.176936p-1f,  0x1.1aa14p-1f,   0x1.1ddecep-1f,  0x1.2121e2p-1f,  0x1.246a7cp-1f,
    0x1.27b8a2p-1f,  0x1.2b0c56p-1f,  0x1.2e659ap-1f,  0x1.31c472p-1f,  0x1.3528dep-1f,
    0x1.3892e2p-1f,  0x1.3c0282p-1f,  0x1.3f77c2p-1f,  0x1.42f2ap-1f,   0x1.46731ep-1f,
    0x1.49f944p-1f,  0x1.4d851p-1f,   0x1.511686p-1f,  0x1.54adaap-1f,  0x1.584a7ep-1f,
    0x1.5bed02p-1f,  0x1.5f953cp-1f,  0x1.63432ep-1f,  0x1.66f6d8p-1f,  0x1.6ab04p-1f,
    0x1.6e6f66p-1f,  0x1.72344cp-1f,  0x1.75fef8p-1f,  0x1.79cf6ap-1f,  0x1.7da5a4p-1f,
    0x1.8181a8p-1f,  0x1.85637cp-1f,  0x1.894b2p-1f,   0x1.8d3896p-1f,  0x1.912be2p-1f,
    0x1.952508p-1f,  0x1.992406p-1f,  0x1.9d28ep-1f,   0x1.a1339ap-1f,  0x1.a54434p-1f,
    0x1.a95ab2p-1f,  0x1.ad7718p-1f,  0x1.b19966p-1f,  0x1.b5c19ep-1f,  0x1.b9efc4p-1f,
    0x1.be23dcp-1f,  0x1.c25de4p-1f,  0x1.c69de2p-1f,  0x1.cae3d8p-1f,  0x1.cf2fc6p-1f,
    0x1.d381bp-1f,   0x1.d7d99ap-1f,  0x1.dc3784p-1f,  0x1.e09b7p-1f,   0x1.e50562p-1f,
    0x1.e9755cp-1f,  0x1.edeb6p-1f,   0x1.f26772p-1f,  0x1.f6e99p-1f,   0x1.fb71c6p-1f,
    0x1.000004p+0f,
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_COLOR_LAB_TABLES_H_
