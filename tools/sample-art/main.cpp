// sample-art: draws the exhibit pictures of the sample exam PRAC-101.
//
// Not part of the project build: the pictures are committed beside the exam's
// JSON source, and make-pictures.sh runs this program again when one of them
// has to change. Qt writes BMP and JPEG but no GIF, so the GIF exhibits are
// written as PNG here and converted by the script.
//
//   sample-art OUTPUT_DIR
//
// writes topology.png, routing.bmp, sockets.png and capture.jpg. The texts
// must agree with the items that refer to them in PRAC-101.json.

#include <QDir>
#include <QFont>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QStringList>

#include <cstdio>

namespace {

const QColor TerminalBackground(0x1e, 0x1f, 0x22);
const QColor TerminalText(0xd8, 0xd8, 0xd8);
const QColor TerminalPrompt(0x8a, 0xe2, 0x34);
const QColor TitleBar(0x3c, 0x3f, 0x44);

QFont MonoFont(int pixelSize)
{
    QFont font(QStringLiteral("DejaVu Sans Mono"));
    font.setStyleHint(QFont::Monospace);
    font.setPixelSize(pixelSize);
    return font;
}

QFont SansFont(int pixelSize, bool bold = false)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(pixelSize);
    font.setBold(bold);
    return font;
}

// A terminal window showing `lines`; lines longer than the window wraps them
// the way a terminal does (hard, at the last column). Lines starting with "$ "
// are commands after a prompt. The picture is at least `minHeight` tall.
QImage Terminal(const QString& title, const QStringList& lines, int width, int pixelSize, int minHeight = 0)
{
    const QFont font = MonoFont(pixelSize);
    const QFontMetrics metrics(font);
    const int margin = 12;
    const int titleHeight = 28;
    const int lineHeight = metrics.lineSpacing() + 2;
    // Advances are fractional: measure many to find how many fit.
    const qreal advance = QFontMetricsF(font).horizontalAdvance(QString(100, QLatin1Char('M'))) / 100;
    const int columns = int((width - 2 * margin) / advance);
    const QString prompt = QStringLiteral("admin@ws01:~$ ");

    struct Row
    {
        QString Prompt;
        QString Text;
    };
    QList<Row> rows;
    for (const QString& line : lines) {
        QString rowPrompt;
        QString text = line;
        if (text.startsWith(QStringLiteral("$ "))) {
            rowPrompt = prompt;
            text = text.mid(2);
        }
        // The prompt takes columns of the first row.
        int room = columns - int(rowPrompt.size());
        do {
            rows.append({ rowPrompt, text.left(room) });
            text = text.mid(room);
            rowPrompt.clear();
            room = columns;
        } while (!text.isEmpty());
    }

    const int height = qMax(minHeight, titleHeight + margin * 2 + int(rows.size()) * lineHeight);
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(TerminalBackground);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);

    painter.fillRect(0, 0, width, titleHeight, TitleBar);
    painter.setFont(SansFont(13, true));
    painter.setPen(QColor(0xee, 0xee, 0xee));
    painter.drawText(QRect(0, 0, width, titleHeight), Qt::AlignCenter, title);
    const QColor buttons[] = { QColor(0xff, 0x5f, 0x57), QColor(0xfe, 0xbc, 0x2e), QColor(0x28, 0xc8, 0x40) };
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < 3; ++i) {
        painter.setBrush(buttons[i]);
        painter.setPen(Qt::NoPen);
        painter.drawEllipse(QPoint(width - 20 - i * 22, titleHeight / 2), 6, 6);
    }
    painter.setRenderHint(QPainter::Antialiasing, false);

    painter.setFont(font);
    int y = titleHeight + margin + metrics.ascent();
    for (const Row& row : rows) {
        int x = margin;
        if (!row.Prompt.isEmpty()) {
            painter.setPen(TerminalPrompt);
            painter.drawText(x, y, row.Prompt);
            x += metrics.horizontalAdvance(row.Prompt);
        }
        painter.setPen(TerminalText);
        painter.drawText(x, y, row.Text);
        y += lineHeight;
    }
    return image;
}

// ---------------------------------------------------------------- routing.bmp

QImage Routing()
{
    return Terminal(QStringLiteral("admin@ws01: ~"),
        {
            QStringLiteral("$ ip route show"),
            QStringLiteral("default via 192.168.1.1 dev eth0 proto dhcp src 192.168.1.50 metric 100"),
            QStringLiteral("10.20.0.0/16 via 192.168.1.254 dev eth0"),
            QStringLiteral("10.20.5.0/24 via 172.16.0.1 dev wg0"),
            QStringLiteral("172.16.0.0/24 dev wg0 proto kernel scope link src 172.16.0.7"),
            QStringLiteral("192.168.1.0/24 dev eth0 proto kernel scope link src 192.168.1.50 metric 100"),
            QStringLiteral("$ "),
        },
        720, 14);
}

// ---------------------------------------------------------------- sockets.gif

QImage Sockets()
{
    return Terminal(QStringLiteral("admin@ws01: ~"),
        {
            QStringLiteral("$ sudo ss -tulpn"),
            QStringLiteral(
                "Netid State  Recv-Q Send-Q Local Address:Port  Peer Address:Port Process"),
            QStringLiteral(
                "udp   UNCONN 0      0      127.0.0.53%lo:53         0.0.0.0:*     users:((\"systemd-resolve\",pid=612,fd=13))"),
            QStringLiteral(
                "udp   UNCONN 0      0            0.0.0.0:68         0.0.0.0:*     users:((\"dhclient\",pid=701,fd=7))"),
            QStringLiteral(
                "tcp   LISTEN 0      4096   127.0.0.53%lo:53         0.0.0.0:*     users:((\"systemd-resolve\",pid=612,fd=14))"),
            QStringLiteral(
                "tcp   LISTEN 0      128          0.0.0.0:22         0.0.0.0:*     users:((\"sshd\",pid=880,fd=3))"),
            QStringLiteral(
                "tcp   LISTEN 0      80         127.0.0.1:3306       0.0.0.0:*     users:((\"mariadbd\",pid=955,fd=21))"),
            QStringLiteral(
                "tcp   LISTEN 0      128             [::]:22            [::]:*     users:((\"sshd\",pid=880,fd=4))"),
            QStringLiteral(
                "tcp   LISTEN 0      511                *:80               *:*     users:((\"apache2\",pid=1022,fd=4))"),
            QStringLiteral("$ "),
        },
        940, 13);
}

// ---------------------------------------------------------------- capture.jpg

// Taller than a laptop screen on purpose: the exhibit viewer has to scroll it.
QImage Capture()
{
    QStringList lines = {
        QStringLiteral("$ ip -brief address show eth0"),
        QStringLiteral("eth0             UP             192.168.50.23/24 fe80::5054:ff:fe3a:91c2/64"),
        QStringLiteral("$ sudo tcpdump -n -i eth0 'port 53 or host 10.30.8.80 or host 10.30.8.81'"),
        QStringLiteral("tcpdump: verbose output suppressed, use -v[v]... for full protocol decode"),
        QStringLiteral("listening on eth0, link-type EN10MB (Ethernet), snapshot length 262144 bytes"),
    };
    const QString c = QStringLiteral("192.168.50.23");
    const QString s = QStringLiteral("10.30.8.80");
    int packets = 0;
    auto packet = [&lines, &packets](const QString& time, const QString& text) {
        ++packets;
        lines.append(QStringLiteral("09:41:%1 IP %2").arg(time, text));
    };
    packet(QStringLiteral("07.118205"), c + QStringLiteral(".41234 > 192.168.50.1.53: 5621+ A? wiki.example.net. (34)"));
    packet(QStringLiteral("07.118342"), c + QStringLiteral(".41234 > 192.168.50.1.53: 5622+ AAAA? wiki.example.net. (34)"));
    packet(QStringLiteral("07.121877"), QStringLiteral("192.168.50.1.53 > ") + c + QStringLiteral(".41234: 5621 1/0/0 A 10.30.8.80 (50)"));
    packet(QStringLiteral("07.122015"), QStringLiteral("192.168.50.1.53 > ") + c + QStringLiteral(".41234: 5622 0/1/0 (91)"));
    packet(QStringLiteral("07.122410"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [S], seq 3518723401, win 64240, options [mss 1460,sackOK,TS val 2261842318 ecr 0,nop,wscale 7], length 0"));
    packet(QStringLiteral("07.124093"), s + QStringLiteral(".443 > ") + c + QStringLiteral(".52814: Flags [S.], seq 1097554120, ack 3518723402, win 65160, options [mss 1460,sackOK,TS val 918273645 ecr 2261842318,nop,wscale 7], length 0"));
    packet(QStringLiteral("07.124150"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [.], ack 1, win 502, options [nop,nop,TS val 2261842320 ecr 918273645], length 0"));
    packet(QStringLiteral("07.125311"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [P.], seq 1:518, ack 1, win 502, options [nop,nop,TS val 2261842321 ecr 918273645], length 517"));
    packet(QStringLiteral("07.127002"), s + QStringLiteral(".443 > ") + c + QStringLiteral(".52814: Flags [.], ack 518, win 506, options [nop,nop,TS val 918273647 ecr 2261842321], length 0"));
    packet(QStringLiteral("07.131870"), s + QStringLiteral(".443 > ") + c + QStringLiteral(".52814: Flags [P.], seq 1:4097, ack 518, win 506, options [nop,nop,TS val 918273651 ecr 2261842321], length 4096"));
    packet(QStringLiteral("07.131902"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [.], ack 4097, win 490, options [nop,nop,TS val 2261842328 ecr 918273651], length 0"));
    packet(QStringLiteral("07.133455"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [P.], seq 518:598, ack 4097, win 501, options [nop,nop,TS val 2261842330 ecr 918273651], length 80"));
    packet(QStringLiteral("07.136781"), s + QStringLiteral(".443 > ") + c + QStringLiteral(".52814: Flags [P.], seq 4097:5821, ack 598, win 506, options [nop,nop,TS val 918273656 ecr 2261842330], length 1724"));
    packet(QStringLiteral("07.136820"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [.], ack 5821, win 501, options [nop,nop,TS val 2261842333 ecr 918273656], length 0"));
    packet(QStringLiteral("07.138245"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [P.], seq 598:689, ack 5821, win 501, options [nop,nop,TS val 2261842334 ecr 918273656], length 91"));
    packet(QStringLiteral("07.139514"), s + QStringLiteral(".443 > ") + c + QStringLiteral(".52814: Flags [P.], seq 5821:7233, ack 689, win 506, options [nop,nop,TS val 918273659 ecr 2261842334], length 1412"));
    packet(QStringLiteral("07.139550"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [.], ack 7233, win 501, options [nop,nop,TS val 2261842335 ecr 918273659], length 0"));
    packet(QStringLiteral("07.140114"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [F.], seq 689, ack 7233, win 501, options [nop,nop,TS val 2261842336 ecr 918273659], length 0"));
    packet(QStringLiteral("07.141920"), s + QStringLiteral(".443 > ") + c + QStringLiteral(".52814: Flags [F.], seq 7233, ack 690, win 506, options [nop,nop,TS val 918273661 ecr 2261842336], length 0"));
    packet(QStringLiteral("07.141968"), c + QStringLiteral(".52814 > ") + s + QStringLiteral(".443: Flags [.], ack 7234, win 501, options [nop,nop,TS val 2261842338 ecr 918273661], length 0"));
    packet(QStringLiteral("12.503377"), c + QStringLiteral(".52816 > ") + s + QStringLiteral(".8080: Flags [S], seq 771203950, win 64240, options [mss 1460,sackOK,TS val 2261847715 ecr 0,nop,wscale 7], length 0"));
    packet(QStringLiteral("12.505012"), s + QStringLiteral(".8080 > ") + c + QStringLiteral(".52816: Flags [R.], seq 0, ack 771203951, win 0, length 0"));
    for (int i = 1; i <= 4; ++i) {
        packet(QStringLiteral("%1.811%2").arg(19 + i).arg(i * 137, 3, 10, QLatin1Char('0')),
            c + QStringLiteral(" > 10.30.8.81: ICMP echo request, id 4711, seq %1, length 64").arg(i));
    }
    lines.append(QString());
    lines.append(QStringLiteral("^C"));
    lines.append(QStringLiteral("%1 packets captured").arg(packets));
    lines.append(QStringLiteral("%1 packets received by filter").arg(packets));
    lines.append(QStringLiteral("0 packets dropped by kernel"));
    lines.append(QStringLiteral("$ "));
    return Terminal(QStringLiteral("admin@ws01: ~ (tcpdump)"), lines, 800, 15, 1400);
}

// ---------------------------------------------------------------- topology.gif

void Device(QPainter& painter, const QRect& box, const QString& name, const QColor& fill)
{
    painter.setPen(QPen(QColor(0x33, 0x33, 0x33), 2));
    painter.setBrush(fill);
    painter.drawRoundedRect(box, 8, 8);
    painter.setFont(SansFont(15, true));
    painter.drawText(box, Qt::AlignCenter, name);
}

void Label(QPainter& painter, const QPoint& at, const QString& text, Qt::Alignment align = Qt::AlignLeft)
{
    painter.setPen(QColor(0x10, 0x10, 0x10));
    painter.setFont(SansFont(13));
    QRect rect(at, QSize(260, 40));
    if (align & Qt::AlignRight)
        rect.moveRight(at.x());
    painter.drawText(rect, align | Qt::AlignTop | Qt::TextDontClip, text);
}

QImage Topology()
{
    QImage image(780, 560, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    const QColor routerFill(0xcf, 0xe2, 0xf3);
    const QColor switchFill(0xd9, 0xea, 0xd3);
    const QColor hostFill(0xfc, 0xe5, 0xcd);
    const QPen link(QColor(0x20, 0x20, 0x20), 3);

    // Internet cloud
    QPainterPath cloud;
    cloud.addEllipse(QRectF(300, 14, 90, 56));
    cloud.addEllipse(QRectF(350, 6, 100, 64));
    cloud.addEllipse(QRectF(410, 18, 80, 52));
    cloud.setFillRule(Qt::WindingFill);
    painter.setPen(QPen(QColor(0x55, 0x55, 0x55), 2));
    painter.setBrush(QColor(0xee, 0xee, 0xee));
    painter.drawPath(cloud.simplified());
    painter.setFont(SansFont(15, true));
    painter.drawText(QRect(300, 6, 190, 64), Qt::AlignCenter, QStringLiteral("Internet"));

    const QRect isp(345, 100, 100, 44);
    const QRect r1(345, 220, 100, 50);
    const QRect sw1(170, 350, 100, 44);
    const QRect pc1(60, 470, 110, 44);
    const QRect pc2(250, 470, 110, 44);
    const QRect srv1(560, 350, 110, 44);

    painter.setPen(link);
    painter.drawLine(395, 70, isp.center().x(), isp.top());
    painter.drawLine(isp.center().x(), isp.bottom(), r1.center().x(), r1.top());
    painter.drawLine(r1.left() + 10, r1.bottom(), sw1.center().x(), sw1.top());
    painter.drawLine(r1.right() - 10, r1.bottom(), srv1.center().x(), srv1.top());
    painter.drawLine(sw1.center().x() - 20, sw1.bottom(), pc1.center().x(), pc1.top());
    painter.drawLine(sw1.center().x() + 20, sw1.bottom(), pc2.center().x(), pc2.top());

    Device(painter, isp, QStringLiteral("ISP"), routerFill);
    Device(painter, r1, QStringLiteral("R1"), routerFill);
    Device(painter, sw1, QStringLiteral("SW1"), switchFill);
    Device(painter, pc1, QStringLiteral("PC1"), hostFill);
    Device(painter, pc2, QStringLiteral("PC2"), hostFill);
    Device(painter, srv1, QStringLiteral("SRV1"), hostFill);

    Label(painter, QPoint(455, 148), QStringLiteral("203.0.113.1/30"));
    Label(painter, QPoint(455, 196), QStringLiteral("eth0 203.0.113.2/30"));
    Label(painter, QPoint(305, 278), QStringLiteral("eth1 192.168.10.1/24"), Qt::AlignRight);
    Label(painter, QPoint(495, 272), QStringLiteral("eth2 192.168.20.1/24"));
    Label(painter, QPoint(560, 400), QStringLiteral("192.168.20.10/24\ngateway 192.168.20.1"));
    Label(painter, QPoint(40, 520), QStringLiteral("192.168.10.25/24\ngateway 192.168.10.1"));

    // PC2's settings, as its owner typed them
    const QRect settings(430, 440, 320, 104);
    painter.setPen(QPen(QColor(0x88, 0x88, 0x88), 1));
    painter.setBrush(QColor(0xf7, 0xf7, 0xf7));
    painter.drawRect(settings);
    painter.drawLine(pc2.right(), pc2.center().y(), settings.left(), pc2.center().y());
    painter.setPen(Qt::black);
    painter.setFont(SansFont(14, true));
    painter.drawText(settings.adjusted(10, 6, -10, 0), Qt::AlignLeft | Qt::AlignTop,
        QStringLiteral("PC2 IPv4 settings"));
    painter.setFont(MonoFont(13));
    painter.drawText(settings.adjusted(10, 30, -10, 0), Qt::AlignLeft | Qt::AlignTop,
        QStringLiteral("Address:  192.168.10.26/24\nGateway:  192.168.10.254\nDNS:      192.168.10.1"));
    return image;
}

bool Save(const QImage& image, const QString& path, int quality = -1)
{
    if (image.save(path, nullptr, quality))
        return true;
    std::fprintf(stderr, "sample-art: cannot write %s\n", qPrintable(path));
    return false;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: sample-art OUTPUT_DIR\n");
        return 1;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));
    bool ok = Save(Topology(), out.filePath(QStringLiteral("topology.png")));
    // An 8-bit palette keeps the bitmap small; the terminal has few colours.
    ok = Save(Routing().convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither), out.filePath(QStringLiteral("routing.bmp"))) && ok;
    ok = Save(Sockets(), out.filePath(QStringLiteral("sockets.png"))) && ok;
    ok = Save(Capture(), out.filePath(QStringLiteral("capture.jpg")), 92) && ok;
    return ok ? 0 : 1;
}
