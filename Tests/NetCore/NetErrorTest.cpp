#include "NetCore/NetError.hpp"

using netcore::NetError;

TEST(NetError, SaysInGermanWhatFailed) {
    struct Row {
        NetError error;
        NetError::Case kind;
        std::string text, description;
    };
    for (const auto& [error, kind, text, description] :
         {Row{NetError::socket("Port 6454 belegt: x"), NetError::Case::socket, "Port 6454 belegt: x",
              "Netzwerkfehler: Port 6454 belegt: x"},
          Row{NetError::protocolError("Antwort zu kurz"), NetError::Case::protocolError, "Antwort zu kurz", "Antwort zu kurz"},
          Row{NetError::timeout(), NetError::Case::timeout, "", "Zeitüberschreitung"}}) {
        EXPECT_EQ(error.kind(), kind);
        EXPECT_EQ(error.text(), text);
        EXPECT_EQ(error.description(), description);
        EXPECT_STREQ(error.what(), description.c_str());
    }
}
