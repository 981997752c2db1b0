#pragma once

#include <QString>

#include <string>

/// @file
/// The dark theme that both panels share, as Qt style sheets. Every translation unit has its own, equal
/// copies. The texts are taken as they are, the oddities of their syntax included: hosts compare and reuse
/// them.

static const QString g_styleBlueButton =
    QStringLiteral("QPushButton{\tbackground-color: #277ae7;\tfont-size:15px;\tcolor: #ebebeb;}"
                   "QPushButton:hover{\tbackground-color: #2693e5;}");

static const QString g_styleGreyButton =
    QStringLiteral("QPushButton{\tbackground-color: #7f7d7e;\tfont-size:15px;\tcolor: #ebebeb;}"
                   "QPushButton:hover{\tbackground-color: #989697;}");

static const QString g_styleWidget13 =
    QStringLiteral("QWidget{\tbackground-color: #4b4b4b;\tfont-size:13px;\tcolor: white;};");

static const QString g_styleGroupBox =
    QStringLiteral("QGroupBox{\t"
                   "background-color: qlineargradient( x1 : 0, y1 : 0 , x2 : 0, y2 : "
                   "1,\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t stop : 0 #277ae7, stop 1 : #ffffff);\t"
                   "border: 2px solid #277ae7;\tborder-radius: 5px;\tmargin-top: 20px;}QGroupBox::title{\t"
                   "subcontrol-origin : margin;\tsubcontrol-position: top center;\tpadding: 10px 15px;\t"
                   "background: qlineargradient( x1 : 0, y1 : 0 , x2 : 0, y2 : "
                   "1,\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t stop : 0 #277ae7, stop 1 : #ffffff);}");

static const QString g_styleWidget17 = QStringLiteral(
    "QWidget{\tbackground-color: #474747;\tgridline-color: rgb(194, 197, 225);\tfont-size:17px;\t"
    "color: white;};");

static const QString g_styleTableWidget = QStringLiteral(
    "QTableWidget{\tfont-size : 15px;\tfont-family : \"Microsoft YaHei\";\tcolor : #eff4ff;\t"
    "background : #444444;\talternate-background-color : #525252;}QTableWidget::item::selected{\t"
    "color:#dcdcdc;\tbackground : #141414;}QTableWidget::item::selected:hover{\tcolor:#dcdcdc;\t"
    "background : #242424;}QTableWidget::item:hover{\tcolor:#dcdcdc;\tbackground : #5b5b5b}"
    "QScrollBar::handle::vertical{\tbackground : rgba(255, 255, 255, 20%);\t"
    "border : 0px solid grey;\tborder-radius : 3px;\twidth: 8px;}QScrollBar::vertical{\t"
    "border-width : 1px;\tborder-style : solid;\tborder-color : rgba(255, 255, 255, 10%);\t"
    "width: 8px;\tmargin : 0px 0px 0px 0px ;\tborder-radius : 3px;}"
    "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical{\t"
    "background:rgba(255,255,255,10%);}QHeaderView::section{\tbackground : #5e5e5e;\t"
    "text-align : center;\tpadding : 3px;\tmargin : 0px;\tcolor:#dcdcdc;\t"
    "border : 1px solid #242424;\tborder-left-width : 0;}QTableCornerButton::section{\t"
    "background : #5e5e5e;}");

static const QString g_styleTabBar = QStringLiteral(
    "QTabBar::tab-bar{\tleft:20px;}QTabBar::tab{\t"
    "background:qlineargradient(x1: 0,y1: 0,x2: 0,y2: 1,\t\t\t\t\t\t\t\t\t\t\t\t\t stop:0 #242424, stop: 0.4 "
    "#242424,\t\t\t\t\t\t\t\t\t\t\t\t\t stop: 0.5 #252525, stop : 1.0 #5b5b5b);\t"
    "border:2px solid #c4c4c3;\tmin-width:50px;\tpadding:2px;}"
    "QTabBar::tab:selected,QTabBar::tab:hover{\t"
    "background:qlineargradient(x1: 0,y1: 0,x2: 0,y2: 1,\t\t\t\t\t\t\t\t\t\t\t\t\t stop:0 #5b5b5b, stop: 0.4 "
    "#5b5b5b,\t\t\t\t\t\t\t\t\t\t\t\t\t stop: 0.5 #5b5b5b, stop : 1.0 #5b5b5b);}"
    "QTabBar::tab:selected{\tborder-color:#9b9b9b;\tborder-bottom-color:#c2c7cb;}"
    "QTabBar::tab:!selected{\tmargin-top:2px; }");

static const std::string g_emptyStdString;
