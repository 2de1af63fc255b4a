// The demo mod: a catalogue entry and a few lamps.
#include "macros.hpp"
#include "parts\colours.hpp"

class Catalogue
{
    class NAME(lamps)
    {
        title = QNAME(lamps);
        author = "Demo workshop";
        version = 1.0;
        needs[] = {};
    };
};

class Lamps
{
    class Lamp_Base
    {
        label = "lamp";
        tint[] = {1, 1, 1};
        power = 40;
        glow = 1;
        class Switch
        {
            states[] = {"off", "on"};
            sound = "";
        };
    };
    LAMP(desk, WARM, 40)
    LAMP(porch, COLD, 60)
#ifdef DEMO_GARDEN
    LAMP(garden, WARM, 120)
#else
    LAMP(hall, WARM, 80)
#endif
};
