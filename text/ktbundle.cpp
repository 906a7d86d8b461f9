#include "ktbundle.h"

ktString ktBundle::GetCurrentLocale()
{
    return ktString("NOLOCALE");
}

ktString ktBundle::GetDefaultLocale()
{
    return ktString("en_US");
}

ktBOOL ktBundle::HasLocaleBeenSet()
{
    return 0;
}

ktString ktBundle::GetLocalizedString(char const* /*aKey*/, char const* /*aDefaultText*/)
{
    return ktString();
}
