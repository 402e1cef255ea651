#pragma once
// The pair every constructor of a service's object chain receives. It is
// built on the stack for the construction call only: receivers copy the two
// pointers and own neither.

struct st_constructParams {
    void* pCfg;  // the service's Configuration
    void* pLog;  // the service's Log
};
