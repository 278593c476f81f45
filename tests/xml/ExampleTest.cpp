#include "docs/examples/InventoryReader.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

TEST(InventoryReaderTest, GoodDocumentGivesItsPartsAndFaultsNameTheirLine)
{
    InventoryReader reader;
    ASSERT_TRUE(reader.Read("<?xml version=\"1.0\"?>\n<!-- server 7 -->\n<inventory>\n"
                            "  <part NAME=\"fan\" slot='2'>loud &amp; slow</part>\n"
                            "  <part name=\"disk\"/>\n</inventory>\n"));
    ASSERT_EQ(reader.Parts().size(), 2u);
    EXPECT_EQ(reader.Parts()[0].slot, "2");
    EXPECT_EQ(reader.Parts()[0].note, "loud & slow");
    EXPECT_EQ(reader.Parts()[1].name, "disk");

    EXPECT_FALSE(reader.Read("<inventory>\n<part name='fan'>\n&bad;</part>\n<fan/>\n</inventory>"));
    EXPECT_THAT(reader.Errors(),
                ElementsAre("line 3: Unknown entity reference", "line 4: unknown element"));
    // Ended early without a word of the base class: the failed child ends its parent quietly.
    EXPECT_FALSE(reader.Read("<inventory>\n<part><![CDATA[x]]></part>\n</inventory>"));
    EXPECT_THAT(reader.Errors(), ElementsAre("line 2: the inventory does not end"));
}
