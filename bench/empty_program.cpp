#include <iostream>
#include <string>
#include <unistd.h>

#include <libxml/parser.h>

// A program that does nothing with the libraries of the daemon: what any such process takes at
// least. Says so when it has come to rest.

int main()
{
    const std::string text = "<nothing/>";
    xmlFreeDoc(xmlParseMemory(text.data(), static_cast<int>(text.size())));
    std::cout << "at rest" << std::endl;
    pause();
    return 0;
}
