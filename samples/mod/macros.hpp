// Macros of the demo mod: names get the mod's tag, and one line makes a whole lamp.
#ifndef DEMO_MACROS_HPP
#define DEMO_MACROS_HPP

#define TAG demo
#define QUOTE(x) #x
#define NAME(x) TAG##_##x
#define QNAME(x) QUOTE(NAME(x))

#define LAMP(id, colour, watts) class NAME(id): Lamp_Base { \
    label = QUOTE(id lamp); \
    tint[] = colour; \
    power = watts; \
    glow = __EVAL(watts / 40); \
    class Switch: Switch { sound = QNAME(JOIN(id, click)); }; \
};

#define JOIN(a, b) a##_##b

#endif
