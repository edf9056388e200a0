const char* text = "SELECT tag FROM object";
