#pragma once
// The applications that the lab appliance knows. The dictionary library names them; the world takes a
// session's application from its server port. The second names are Chinese, as on the appliance.
#include "lab/dictionary/gbk.h"

struct LabApplication {
    uint16_t id;             // at most 16383: some records pack flags above 14 bits
    uint8_t protocol;        // IP protocol number; 0: TCP and UDP
    uint16_t port;           // server port; 0: never found by its port
    const char* name;        // at most 19 bytes, no blank
    const char* second_name; // at most 19 bytes, no blank; GBK
};

constexpr LabApplication lab_applications[] = {
    {1,  0,  0,     "other",         "其他"_gbk            },
    {2,  1,  0,     "icmp",          "控制报文"_gbk      },
    {3,  58, 0,     "icmp6",         "控制报文六版"_gbk},
    {10, 6,  80,    "http",          "网页浏览"_gbk      },
    {11, 6,  443,   "https",         "加密网页"_gbk      },
    {12, 17, 443,   "quic",          "快速加密网页"_gbk},
    {13, 6,  8080,  "http-alt",      "备用网页"_gbk      },
    {14, 6,  8443,  "https-alt",     "备用加密网页"_gbk},
    {15, 6,  3128,  "http-proxy",    "网页代理"_gbk      },
    {16, 6,  1080,  "socks",         "套接字代理"_gbk   },
    {20, 0,  53,    "dns",           "域名解析"_gbk      },
    {21, 6,  853,   "dns-tls",       "加密域名解析"_gbk},
    {22, 17, 5353,  "mdns",          "组播域名"_gbk      },
    {23, 17, 5355,  "llmnr",         "链路名称解析"_gbk},
    {24, 17, 137,   "netbios-ns",    "网络名称服务"_gbk},
    {25, 17, 138,   "netbios-dgm",   "网络数据报"_gbk   },
    {26, 6,  139,   "netbios-ssn",   "网络会话"_gbk      },
    {30, 6,  22,    "ssh",           "安全终端"_gbk      },
    {31, 6,  23,    "telnet",        "远程终端"_gbk      },
    {32, 6,  3389,  "rdp",           "远程桌面"_gbk      },
    {33, 6,  5900,  "vnc",           "桌面共享"_gbk      },
    {40, 6,  20,    "ftp-data",      "文件传输数据"_gbk},
    {41, 6,  21,    "ftp",           "文件传输"_gbk      },
    {42, 17, 69,    "tftp",          "简单文件传输"_gbk},
    {43, 6,  445,   "smb",           "文件共享"_gbk      },
    {44, 0,  2049,  "nfs",           "网络文件系统"_gbk},
    {45, 6,  873,   "rsync",         "文件同步"_gbk      },
    {46, 0,  111,   "rpcbind",       "端口映射"_gbk      },
    {50, 6,  25,    "smtp",          "邮件发送"_gbk      },
    {51, 6,  465,   "smtps",         "加密邮件发送"_gbk},
    {52, 6,  587,   "submission",    "邮件提交"_gbk      },
    {53, 6,  110,   "pop3",          "邮件接收"_gbk      },
    {54, 6,  995,   "pop3s",         "加密邮件接收"_gbk},
    {55, 6,  143,   "imap",          "邮件访问"_gbk      },
    {56, 6,  993,   "imaps",         "加密邮件访问"_gbk},
    {60, 6,  3306,  "mysql",         "关系数据库甲"_gbk},
    {61, 6,  5432,  "postgresql",    "关系数据库乙"_gbk},
    {62, 6,  1521,  "oracle",        "关系数据库丙"_gbk},
    {63, 6,  1433,  "mssql",         "关系数据库丁"_gbk},
    {64, 6,  6379,  "redis",         "键值数据库"_gbk   },
    {65, 6,  27017, "mongodb",       "文档数据库"_gbk   },
    {66, 6,  11211, "memcached",     "内存缓存"_gbk      },
    {67, 6,  9200,  "elasticsearch", "全文检索"_gbk      },
    {68, 6,  9092,  "kafka",         "消息队列"_gbk      },
    {69, 6,  5672,  "amqp",          "消息中间件"_gbk   },
    {70, 6,  1883,  "mqtt",          "物联消息"_gbk      },
    {71, 17, 5683,  "coap",          "物联受限协议"_gbk},
    {80, 17, 67,    "dhcp",          "地址分配"_gbk      },
    {81, 17, 123,   "ntp",           "时间同步"_gbk      },
    {82, 17, 161,   "snmp",          "网络管理"_gbk      },
    {83, 17, 162,   "snmp-trap",     "网管告警"_gbk      },
    {84, 0,  514,   "syslog",        "系统日志"_gbk      },
    {85, 0,  389,   "ldap",          "目录服务"_gbk      },
    {86, 6,  636,   "ldaps",         "加密目录服务"_gbk},
    {87, 0,  88,    "kerberos",      "身份认证"_gbk      },
    {88, 17, 1812,  "radius",        "接入认证"_gbk      },
    {89, 6,  179,   "bgp",           "边界路由"_gbk      },
    {90, 17, 500,   "ike",           "密钥交换"_gbk      },
    {91, 17, 1194,  "openvpn",       "虚拟专网"_gbk      },
    {92, 17, 51820, "wireguard",     "加密隧道"_gbk      },
    {93, 0,  5060,  "sip",           "网络电话"_gbk      },
    {94, 17, 3478,  "stun",          "穿越辅助"_gbk      },
    {95, 6,  554,   "rtsp",          "视频点播"_gbk      },
    {96, 17, 1900,  "ssdp",          "设备发现"_gbk      },
    {97, 6,  5222,  "xmpp",          "即时消息"_gbk      },
    {98, 6,  6667,  "irc",           "在线聊天"_gbk      },
};

constexpr uint16_t lab_application_other = 1, lab_application_icmp = 2, lab_application_icmp6 = 3;
