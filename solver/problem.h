#pragma once
struct vntlp {
    int placeholder;
};
